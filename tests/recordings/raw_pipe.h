// A child process that reads raw data from its standard input.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/platform/child_process.h"

namespace veyrin::recordings {

class RawPipe {
 public:
  /// Starts the program; the first word is its path.
  [[nodiscard]] bool start(const std::vector<std::string>& words, std::string& error);
  [[nodiscard]] bool write(const std::vector<std::uint8_t>& bytes, std::string& error);
  /// Closes the pipe and waits; false unless the program ended with status 0.
  [[nodiscard]] bool finish(std::string& error);

 private:
  std::unique_ptr<platform::ChildProcess> child_;
  std::string program_;
};

}  // namespace veyrin::recordings
