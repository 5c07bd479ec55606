// Texts that one process leaves another in a file.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {

/// Waits until the file has a text and returns it; if it never has, the time-out of CTest ends the test. On
/// Windows a file that is being renamed exists before it can be read.
inline std::string wait_for_text(const std::filesystem::path& path) {
  std::string text;
  while ((text = file_text(path)).empty()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  return text;
}

/// Leaves a text for a waiting process; written under another name first, so that it is never read in part.
inline void leave_text(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::path part = path;
  part += ".part";
  std::ofstream(part, std::ios::binary) << text;
  std::filesystem::rename(part, path);
}

}  // namespace veyrin::test
