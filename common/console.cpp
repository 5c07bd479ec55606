#include "common/console.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace veyrin {
namespace {

std::atomic<bool> mirror_enabled{false};
std::atomic<int> silence_depth{0};

__attribute__((format(printf, 1, 0))) void write_formatted(const char* format, va_list arguments) {
  if (silence_depth.load() > 0) return;
  if (mirror_enabled.load()) {
    va_list copy;
    va_copy(copy, arguments);
    std::vfprintf(stderr, format, copy);
    va_end(copy);
    std::fflush(stderr);
  }
  std::vprintf(format, arguments);
  std::fflush(stdout);
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
