#include "convert/progress_lines.h"

#include "common/console.h"

namespace veyrin {
namespace {

void print_percent(int percent) {
  console_line("  progress_percent: %d", percent);
}

void print_encoded_frames(std::int64_t count) {
  console_line("  encoded_frames: %lld", static_cast<long long>(count));
}

}  // namespace

void ProgressLines::after_pair(std::int64_t encoded_frames, double seconds_done) {
  const ProgressReport report = progress_.after_pair(encoded_frames, seconds_done);
  if (report.encoded_frames) print_encoded_frames(*report.encoded_frames);
  if (report.percent) print_percent(*report.percent);
}

void ProgressLines::at_end(std::int64_t encoded_frames) {
  const ProgressReport report = progress_.at_end(encoded_frames);
  if (report.percent) print_percent(*report.percent);
  if (report.encoded_frames) print_encoded_frames(*report.encoded_frames);
}

}  // namespace veyrin
