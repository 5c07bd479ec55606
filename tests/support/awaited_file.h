// Answers that another process leaves in a file.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {

/// Waits until the file has a text and gives it; a test that waits in vain ends with the time-out of its
/// runner. On Windows a file that is just being renamed is there before it can be read.
inline std::string wait_for_text(const std::filesystem::path& path) {
  std::string text;
  while ((text = file_text(path)).empty()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  return text;
}

}  // namespace veyrin::test
