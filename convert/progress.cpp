#include "convert/progress.h"

#include <algorithm>
#include <cmath>

#include "common/console.h"

namespace veyrin {
namespace {

constexpr int frames_between_counts = 30;

void print_percent(const ProgressReport& report) {
  if (report.percent) console_line("  progress_percent: %d", *report.percent);
}

void print_encoded_frames(const ProgressReport& report) {
  if (report.encoded_frames)
    console_line("  encoded_frames: %lld", static_cast<long long>(*report.encoded_frames));
}

}  // namespace

ProgressReport Progress::after_pair(std::int64_t encoded_frames, double seconds_done) {
  ProgressReport report;
  if (encoded_frames % frames_between_counts == 0) report.encoded_frames = encoded_frames;
  // 100 is kept for the finished file, however far the frames have come.
  const int percent =
      static_cast<int>(std::clamp(std::floor(seconds_done * 100.0 / span_seconds_), 0.0, 99.0));
  if (percent != last_percent_) {
    report.percent = percent;
    last_percent_ = percent;
  }
  return report;
}

ProgressReport Progress::at_end(std::int64_t encoded_frames) {
  ProgressReport report;
  report.encoded_frames = encoded_frames;
  if (last_percent_ != 100) report.percent = 100;
  last_percent_ = 100;
  return report;
}

void Progress::print_after_pair(std::int64_t encoded_frames, double seconds_done) {
  const ProgressReport report = after_pair(encoded_frames, seconds_done);
  print_encoded_frames(report);
  print_percent(report);
}

void Progress::print_at_end(std::int64_t encoded_frames) {
  const ProgressReport report = at_end(encoded_frames);
  print_percent(report);
  print_encoded_frames(report);
}

}  // namespace veyrin
