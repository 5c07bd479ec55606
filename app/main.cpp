// The program: reads the arguments, picks the run mode, owns the exit status.
#include <string>
#include <vector>

#include "app/check_support_mode.h"
#include "app/input_wildcards.h"
#include "app/option_table.h"
#include "app/options.h"
#include "app/run_modes.h"
#include "common/console.h"
#include "common/console_program.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin {
namespace {

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
  return done ? success_status : report_error(error);
}

/// Runs the mode that the arguments ask for and reports the first failure.
int run_converter(int argc, const char* const* argv) {
  const std::vector<std::string> arguments = expand_input_wildcards(argc, argv);
  std::vector<const char*> texts;
  texts.reserve(arguments.size());
  for (const std::string& argument : arguments) texts.push_back(argument.c_str());
  ConversionOptions options;
  std::string error;
  if (!parse_command_line(static_cast<int>(texts.size()), texts.data(), options, error))
    return report_error(error);
  return run_mode(options);
}

}  // namespace
}  // namespace veyrin

int main(int argc, char** argv) {
  // Every failure is reported once, in our own words; FFmpeg's log would repeat it on standard error.
  av_log_set_level(AV_LOG_QUIET);
  return veyrin::run_console_program(veyrin::run_converter, argc, argv);
}
