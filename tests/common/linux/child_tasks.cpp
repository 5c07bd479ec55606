#include "tests/common/child_tasks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace veyrin::test {

void make_streams_binary() {}

void write_nothing() {
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, "", 0);
}

std::string streams_text() {
  std::string text;
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    std::error_code ignored;
    const auto file = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(stream), ignored);
    text += file == "/dev/null" ? "null\n" : "other\n";
  }
  char byte = 0;
  return text + (read(STDIN_FILENO, &byte, 1) == 0 ? "empty\n" : "not empty\n");
}

std::string process_number() {
  return std::to_string(getpid());
}

bool holds_file(const std::string& number) {
  struct stat status {};
  return fstat(std::stoi(number), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace veyrin::test
