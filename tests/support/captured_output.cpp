#include "tests/support/captured_output.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace veyrin::test {
namespace {

// A test that cannot see the output must not pass.
void require(bool succeeded, const char* step) {
  if (succeeded) return;
  std::perror(step);
  std::abort();
}

class StreamCapture {
 public:
  explicit StreamCapture(std::FILE* stream) : stream_(stream), descriptor_(fileno(stream)) {}

  void begin() {
    require(original_ < 0, "nested capture");
    path_ = std::filesystem::temp_directory_path() /
            ("veyrin-capture-" + std::to_string(getpid()) + "-" + std::to_string(descriptor_));
    std::fflush(stream_);
    original_ = dup(descriptor_);
    std::FILE* file = std::fopen(path_.string().c_str(), "wb");
    require(original_ >= 0 && file != nullptr, "capture");
    require(dup2(fileno(file), descriptor_) >= 0, "redirection");
    std::fclose(file);
  }

  std::string end() {
    std::fflush(stream_);
    require(dup2(original_, descriptor_) >= 0, "end of redirection");
    close(original_);
    original_ = -1;
    std::ifstream file(path_, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    file.close();
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    return text;
  }

 private:
  std::FILE* stream_;
  int descriptor_;
  int original_ = -1;  // a duplicate of the descriptor while capturing
  std::filesystem::path path_;
};

StreamCapture& output() {
  static StreamCapture capture(stdout);
  return capture;
}

StreamCapture& errors() {
  static StreamCapture capture(stderr);
  return capture;
}

}  // namespace

void capture_output() {
  output().begin();
}

void capture_errors() {
  errors().begin();
}

std::string captured_output() {
  return output().end();
}

std::string captured_errors() {
  return errors().end();
}

}  // namespace veyrin::test
