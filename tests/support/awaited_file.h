// Answers that one process leaves another in a file.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
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

/// Leaves a text for a process that waits for it: under another name first, so that no half of it is read.
inline void leave_text(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::path part = path;
  part += ".part";
  std::ofstream(part, std::ios::binary) << text;
  std::filesystem::rename(part, path);
}

}  // namespace veyrin::test
