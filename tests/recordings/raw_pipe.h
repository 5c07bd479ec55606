// A child process that takes raw data through its standard input.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace veyrin::recordings {

class RawPipe {
 public:
  RawPipe() = default;
  ~RawPipe();
  RawPipe(const RawPipe&) = delete;
  RawPipe& operator=(const RawPipe&) = delete;

  /// Starts the program; the first word is its name or path.
  [[nodiscard]] bool start(const std::vector<std::string>& words, std::string& error);
  [[nodiscard]] bool write(const std::vector<std::uint8_t>& bytes, std::string& error);
  /// Closes the pipe and waits; false unless the program ended with status 0.
  [[nodiscard]] bool finish(std::string& error);

 private:
  std::FILE* pipe_ = nullptr;
  std::string program_;
};

}  // namespace veyrin::recordings
