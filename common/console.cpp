#include "common/console.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <system_error>

namespace veyrin {
namespace {

std::atomic<bool> mirror_enabled{false};
std::atomic<int> silence_depth{0};
std::atomic<int> first_failure{0};  ///< errno; 0 for none

void remember_failure(int code) {
  int none = 0;
  first_failure.compare_exchange_strong(none, code != 0 ? code : EIO);
}

__attribute__((format(printf, 1, 0))) void write_formatted(const char* format, va_list arguments) {
  if (silence_depth.load() > 0) return;
  if (mirror_enabled.load()) {
    va_list copy;
    va_copy(copy, arguments);
    std::vfprintf(stderr, format, copy);
    va_end(copy);
    std::fflush(stderr);
  }
  errno = 0;
  const bool formatted = std::vprintf(format, arguments) >= 0;
  const bool flushed = std::fflush(stdout) == 0;
  // Some formatters count what they could not hand over, which only the stream knows.
  if (!formatted || !flushed || std::ferror(stdout) != 0) remember_failure(errno);
}

}  // namespace

void console_log(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write_formatted(format, arguments);
  va_end(arguments);
}

void console_line(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write_formatted(format, arguments);
  va_end(arguments);
  console_log("\n");
}

std::string console_failure() {
  const int code = first_failure.load();
  return code == 0 ? std::string() : std::generic_category().message(code);
}

void set_console_mirror(bool enabled) {
  mirror_enabled.store(enabled);
}

ConsoleSilence::ConsoleSilence() {
  silence_depth.fetch_add(1);
}

ConsoleSilence::~ConsoleSilence() {
  silence_depth.fetch_sub(1);
}

}  // namespace veyrin
