#include "app/entry.h"

#include <exception>
#include <string>

#include "app/batch_mode.h"
#include "app/check_support_mode.h"
#include "app/options.h"
#include "app/thumbnail_mode.h"
#include "common/console.h"

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

}  // namespace

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

}  // namespace veyrin
