#include "convert/frame_timing.h"

#include <algorithm>

namespace veyrin {
namespace {

constexpr double shortest_span_seconds = 0.001;

// Frame times come rounded to the container's time base; a hundredth of a frame covers that rounding, so that
// an exact tie in theory stays a tie here, and is still far below the distance of any two frames.
constexpr double tie_tolerance_frames = 0.01;

}  // namespace

TrimRange TrimRange::from(double start, std::optional<double> duration) {
  TrimRange range;
  range.start = start;
  if (duration) range.end = start + *duration;
  return range;
}

double TrimRange::span(double recording_duration) const {
  return std::max(std::min(recording_duration, end) - start, shortest_span_seconds);
}

FrameRate choose_output_rate(std::optional<FrameRate> requested, FrameRate input) {
  const FrameRate rate = requested.value_or(input);
  return rate.valid() ? rate : FrameRate{30, 1};
}

FramePacer::FramePacer(TrimRange range, FrameRate output_rate, FrameRate input_rate)
    : range_(range), output_rate_(output_rate) {
  const double output_frame = output_rate.frame_duration();
  const double input_frame = input_rate.valid() ? input_rate.frame_duration() : output_frame;
  half_output_frame_ = output_frame / 2;
  half_input_frame_ = input_frame / 2;
  // A range far shorter than a frame still holds the frame at its start.
  tolerance_ =
      std::min(tie_tolerance_frames * std::min(output_frame, input_frame), (range.end - range.start) / 2);
}

double FramePacer::next_output_time() const {
  return range_.start +
         static_cast<double>(frames_written_) * output_rate_.denominator / output_rate_.numerator;
}

PairDecision FramePacer::decide(double pair_time) const {
  if (range_.start > pair_time + half_output_frame_ + tolerance_) return PairDecision::drop;
  if (pair_time >= range_.end - tolerance_) return PairDecision::finish;
  if (next_output_time() > pair_time + half_input_frame_ + tolerance_) return PairDecision::drop;
  return PairDecision::encode;
}

double FramePacer::gap_before(double pair_time) const {
  return std::min(pair_time, range_.end) - next_output_time();
}

bool FramePacer::repeats(double pair_time) const {
  const double next = next_output_time();
  return pair_time + half_input_frame_ + tolerance_ >= next && next < range_.end - tolerance_;
}

}  // namespace veyrin
