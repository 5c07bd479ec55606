// veyrin-join: reads the arguments, tells cuts or joins pieces, owns the exit status.
#include <cstdio>
#include <exception>
#include <string>

#include "common/console.h"
#include "common/platform/files.h"
#include "common/platform/program.h"
#include "join/cut_answer.h"
#include "join/join_options.h"
#include "join/join_pieces.h"

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

[[nodiscard]] bool tell_cuts(const JoinOptions& options, std::string& error) {
  const auto answer = cut_recording({.recording = platform::path_from_utf8(options.files.front()),
                                     .piece_minutes = *options.cut_minutes,
                                     .range = options.range,
                                     .output_fps = options.output_fps},
                                    error);
  if (!answer) return false;
  console_line("%s", cut_answer_text(*answer).c_str());
  return true;
}

[[nodiscard]] bool join(const JoinOptions& options, std::string& error) {
  JoinJob job{.recording = *options.recording,
              .output = *options.output,
              .range = options.range,
              .overwrite = options.overwrite};
  for (const std::string& piece : options.files) job.pieces.push_back(platform::path_from_utf8(piece));
  return join_pieces(job, error);
}

int run(int argc, const char* const* argv) noexcept {
  try {
    JoinOptions options;
    std::string error;
    if (!parse_join_arguments(argc, argv, options, error)) return report_error(error.c_str());
    if (options.help) {
      console_log("%s", join_usage_text().c_str());
      return success_status;
    }
    const bool done = options.cut_minutes ? tell_cuts(options, error) : join(options, error);
    return done ? success_status : report_error(error.c_str());
  } catch (const std::exception& exception) {
    return report_error(exception.what());
  } catch (...) {
    return report_error("unknown exception");
  }
}

/// The status of a run that may have lost what it had to say.
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
  // Every failure is reported once, in our own words.
  av_log_set_level(AV_LOG_QUIET);
  const veyrin::platform::Utf8Console console;
  return veyrin::status_after_output(veyrin::run(argc, argv));
}
