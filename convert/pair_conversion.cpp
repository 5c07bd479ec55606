#include "convert/pair_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "common/console.h"
#include "common/error_text.h"

namespace veyrin {
namespace {

// Missing frames are made up by repeating the next one. Cameras lose some; only broken time stamps leave out
// more than this, and filling such a gap could fill the disk.
constexpr double longest_filled_gap_seconds = 60.0;

constexpr int frames_between_counts = 30;

void print_percent(const ProgressReport& report) {
  if (report.percent) console_line("  progress_percent: %d", *report.percent);
}

void print_encoded_frames(const ProgressReport& report) {
  if (report.encoded_frames)
    console_line("  encoded_frames: %lld", static_cast<long long>(*report.encoded_frames));
}

}  // namespace

bool PairConversion::convert(const DecodedFrame& left, const DecodedFrame& right, std::string& error) {
  const double pair_time = std::max(left.time_seconds, right.time_seconds);
  switch (pacer_.decide(pair_time)) {
    case PairDecision::drop:
      return true;
    case PairDecision::finish:
      finished_ = true;
      return true;
    case PairDecision::encode:
      break;
  }
  const double gap = pacer_.gap_before(pair_time);
  if (gap > longest_filled_gap_seconds) {
    return fail(error, "the recording has no picture for " + std::to_string(std::llround(gap)) + " seconds");
  }
  return write(left, right, pair_time, error);
}

bool PairConversion::write(const DecodedFrame& left, const DecodedFrame& right, double pair_time,
                           std::string& error) {
  if (!left.frame || !right.frame)
    return fail(error, "decoded frames were not available to the YUV pipeline");
  const auto canvases = movie_.next_canvases(error);
  if (canvases.empty()) return false;
  for (std::size_t index = 0; index < canvases.size(); ++index) {
    if (!processors_[index]->process(left.frame.get(), right.frame.get(), canvases[index], error))
      return false;
  }
  do {
    if (!movie_.write_canvases(pacer_.frames_written(), error)) return false;
    pacer_.advance();
  } while (pacer_.repeats(pair_time));
  progress_.print_after_pair(pacer_.frames_written(), pacer_.seconds_done());
  return true;
}

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
