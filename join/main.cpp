// veyrin-join: reads the arguments, tells cuts or joins pieces, owns the exit status.
#include <string>

#include "common/console.h"
#include "common/console_program.h"
#include "common/platform/files.h"
#include "join/cut_answer.h"
#include "join/join_options.h"
#include "join/join_pieces.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin {
namespace {

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

int run(int argc, const char* const* argv) {
  JoinOptions options;
  std::string error;
  if (!parse_join_arguments(argc, argv, options, error)) return report_error(error);
  if (options.help) {
    console_log("%s", join_usage_text().c_str());
    return success_status;
  }
  const bool done = options.cut_minutes ? tell_cuts(options, error) : join(options, error);
  return done ? success_status : report_error(error);
}

}  // namespace
}  // namespace veyrin

int main(int argc, char** argv) {
  // Every failure is reported once, in our own words.
  av_log_set_level(AV_LOG_QUIET);
  return veyrin::run_console_program(veyrin::run, argc, argv);
}
