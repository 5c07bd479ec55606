#include "convert/frame_timing.h"

#include <algorithm>
#include <cmath>
#include <limits>

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

namespace veyrin {
namespace {

constexpr FrameRate highest_input_rate{1000, 1};
constexpr int largest_rate_term = 100000;
constexpr double shortest_span_seconds = 0.001;

// Frame times come rounded to the container's time base; a hundredth of a frame covers that rounding, so that
// an exact tie in theory stays a tie here, and is still far below the distance of any two frames.
constexpr double tie_tolerance_frames = 0.01;

}  // namespace

bool is_plausible(FrameRate input) {
  return !is_valid(input) || av_cmp_q(input, highest_input_rate) <= 0;
}

std::string implausible_rate_text(FrameRate input) {
  return "the recording's frame rate of " + std::to_string(input.num) + "/" + std::to_string(input.den) +
         " is not plausible (--output-fps can set another one)";
}

FrameRate choose_output_rate(std::optional<FrameRate> requested, FrameRate input) {
  const FrameRate rate = requested.value_or(input);
  return is_valid(rate) ? rate : FrameRate{30, 1};
}

FrameRate choose_output_rate(std::optional<double> requested_fps, FrameRate input) {
  if (!requested_fps) return choose_output_rate(std::optional<FrameRate>(), input);
  return choose_output_rate(std::optional(av_d2q(*requested_fps, largest_rate_term)), input);
}

std::int64_t frames_in(double duration_seconds, FrameRate rate) {
  // More than any file holds, and more than the multiplication does.
  if (duration_seconds / frame_seconds(rate) >= 1e15) return std::numeric_limits<std::int64_t>::max();
  const std::int64_t microseconds = whole_microseconds(duration_seconds);
  return std::max<std::int64_t>(av_rescale_q(microseconds, AV_TIME_BASE_Q, av_inv_q(rate)), 1);
}

double convertible_seconds(const TimeRange& range, double recording_seconds) {
  return std::max(std::min(recording_seconds, range.end()) - range.start, shortest_span_seconds);
}

FramePacer::FramePacer(const TimeRange& range, FrameRate output_rate, FrameRate input_rate)
    : start_(range.start), end_(range.end()), output_rate_(output_rate) {
  frame_limit_ =
      range.duration ? frames_in(*range.duration, output_rate) : std::numeric_limits<std::int64_t>::max();
  const double output_frame = frame_seconds(output_rate);
  const double input_frame = is_valid(input_rate) ? frame_seconds(input_rate) : output_frame;
  half_output_frame_ = output_frame / 2;
  half_input_frame_ = input_frame / 2;
  // A range far shorter than a frame still holds the frame at its start.
  tolerance_ = std::min(tie_tolerance_frames * std::min(output_frame, input_frame), (end_ - start_) / 2);
}

double FramePacer::next_output_time() const {
  return start_ + static_cast<double>(frames_written_) * output_rate_.den / output_rate_.num;
}

PairDecision FramePacer::decide(double pair_time) const {
  if (start_ > pair_time + half_output_frame_ + tolerance_) return PairDecision::drop;
  if (pair_time >= end_ - tolerance_ || frames_written_ >= frame_limit_) return PairDecision::finish;
  if (next_output_time() > pair_time + half_input_frame_ + tolerance_) return PairDecision::drop;
  return PairDecision::encode;
}

bool FramePacer::out_of_step(double left_time, double right_time) const {
  return std::abs(left_time - right_time) > half_input_frame_ * (1 + 2 * tie_tolerance_frames);
}

double FramePacer::gap_before(double pair_time) const {
  return std::min(pair_time, end_) - next_output_time();
}

bool FramePacer::repeats(double pair_time) const {
  return frames_written_ < frame_limit_ && pair_time + half_input_frame_ + tolerance_ >= next_output_time();
}

AudioDecision decide_audio_packet(double packet_start, double packet_end, const TimeRange& range) {
  if (packet_start >= range.end()) return AudioDecision::done;
  return packet_end > range.start ? AudioDecision::copy : AudioDecision::skip;
}

std::int64_t audio_offset_microseconds(const TimeRange& range) {
  return whole_microseconds(range.start);
}

std::int64_t whole_microseconds(double seconds) {
  constexpr double most_seconds = 9e12;
  return std::llround(std::min(seconds, most_seconds) * 1'000'000.0);
}

}  // namespace veyrin
