#include "common/console_program.h"

#include <cstdio>
#include <exception>

#include "common/console.h"
#include "common/platform/program.h"

namespace veyrin {
namespace {

int report_what_it_throws(ConsoleWork work, int argc, const char* const* argv) noexcept {
  try {
    return work(argc, argv);
  } catch (const std::exception& exception) {
    return report_error(exception.what());
  } catch (...) {
    return report_error("unknown exception");
  }
}

/// The status of a run that may have lost what it had to say. Standard error is the one place left to name
/// the reason.
int status_after_output(int status) {
  const std::string reason = console_failure();
  if (reason.empty()) return status;
  std::fprintf(stderr, "could not write to standard output: %s\n", reason.c_str());
  return failure_status;
}

}  // namespace

int report_error(const std::string& message) {
  console_line("Error: %s", message.c_str());
  return failure_status;
}

int run_console_program(ConsoleWork work, int argc, const char* const* argv) {
  platform::secure_standard_streams();
  const platform::Utf8Console console;
  return status_after_output(report_what_it_throws(work, argc, argv));
}

}  // namespace veyrin
