// The program: reads the arguments, picks the run mode, owns the exit status.
#include <cstdio>
#include <exception>
#include <string>

#include "app/check_support_mode.h"
#include "app/option_table.h"
#include "app/options.h"
#include "app/run_modes.h"
#include "common/console.h"
#include "common/platform/program.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin {
namespace {

constexpr int success_status = 0;
constexpr int failure_status = 1;

int report_error(const char* message) {
  console_line("Error: %s", message);
  return failure_status;
}

int run_mode(const ConversionOptions& options) {
  if (options.help) {
    console_log("%s", usage_text().c_str());
    return success_status;
  }
  if (options.check_support) {
    answer_support_check(options);
    return success_status;
  }
  if (options.inputs.empty()) {
    const int status = report_error("at least one input is required");
    console_log("%s", usage_text().c_str());
    return status;
  }
  std::string error;
  const bool done = options.thumbnail ? run_thumbnail(options, error) : run_batch(options, error);
  return done ? success_status : report_error(error.c_str());
}

/// Runs the mode that the arguments (UTF-8) ask for and reports the first failure as one "Error: " line.
int run_converter(int argc, const char* const* argv) noexcept {
  try {
    ConversionOptions options;
    std::string error;
    if (!parse_command_line(argc, argv, options, error)) return report_error(error.c_str());
    return run_mode(options);
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
}  // namespace veyrin

int main(int argc, char** argv) {
  veyrin::platform::secure_standard_streams();
  // Every failure is reported once, in our own words; FFmpeg's log would repeat it on standard error.
  av_log_set_level(AV_LOG_QUIET);
  const veyrin::platform::Utf8Console console;
  return veyrin::status_after_output(veyrin::run_converter(argc, argv));
}
