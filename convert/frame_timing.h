// When frames and sound are written: trimming and frame-rate normalisation as plain arithmetic on seconds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media/video_types.h"

namespace veyrin {

/// False above 1000 frames per second: no camera with two fisheye lenses records so many, but a damaged time
/// scale makes millions, each of which would be written. An unknown rate is plausible.
bool is_plausible(FrameRate input);

/// What is said of an implausible rate.
std::string implausible_rate_text(FrameRate input);

/// The rate frames are written at: the requested one when there is one, else the input's, else 30.
FrameRate choose_output_rate(std::optional<FrameRate> requested, FrameRate input);

/// The same for a rate that the user gives as a decimal number.
FrameRate choose_output_rate(std::optional<double> requested_fps, FrameRate input);

/// The most frames that a movie of the duration holds: the whole number nearest to duration times rate, a
/// half rounded up, and at least 1. That is where the packaged encoder ends a movie of this length, so all
/// do.
std::int64_t frames_in(double duration_seconds, FrameRate rate);

/// Length of what a range covers of a recording, at least 0.001 s so that progress can be computed.
double convertible_seconds(const TimeRange& range, double recording_seconds);

/// What to do with a pair of frames.
enum class PairDecision {
  drop,    ///< before the trim, or the input runs faster than the output
  encode,  ///< write it, and again as long as `repeats` says so
  finish   ///< at or after the end, or the movie is long enough: no later pair is wanted
};

/// Decides for each pair of frames, by its time alone, whether and how often it is written. The time of the
/// next output frame is computed from the start and the count of written frames, so it never drifts.
class FramePacer {
 public:
  /// An invalid input rate counts as the output's.
  FramePacer(const TimeRange& range, FrameRate output_rate, FrameRate input_rate);

  /// `pair_time` is the later of the two frame times, in seconds.
  [[nodiscard]] PairDecision decide(double pair_time) const;
  /// True when a pair's frames are more than half an input frame apart, so that they do not belong together.
  [[nodiscard]] bool out_of_step(double left_time, double right_time) const;
  /// Seconds without a picture before this pair that writing it would fill; below 0 when it fills nothing.
  [[nodiscard]] double gap_before(double pair_time) const;
  /// True while the pair just written must be written once more to reach the output rate.
  [[nodiscard]] bool repeats(double pair_time) const;
  /// Counts one written frame.
  void advance() { ++frames_written_; }

  /// Number of frames written so far; also the index, in output frames from 0, of the next one.
  [[nodiscard]] std::int64_t frames_written() const { return frames_written_; }
  /// Seconds from the start of the range to the next output frame.
  [[nodiscard]] double seconds_done() const { return next_output_time() - start_; }
  /// Seconds from one input frame to the next.
  [[nodiscard]] double input_frame_seconds() const { return 2 * half_input_frame_; }
  /// Seconds in the recording's time at which the next output frame stands.
  [[nodiscard]] double next_output_time() const;

 private:
  double start_;
  double end_;
  FrameRate output_rate_;
  std::int64_t frame_limit_;
  double half_output_frame_;
  double half_input_frame_;
  double tolerance_;
  std::int64_t frames_written_ = 0;
};

/// A time in whole microseconds, as the packaged encoder is told it; at most 9e12 s.
std::int64_t whole_microseconds(double seconds);

enum class AudioDecision {
  skip,  ///< ends at or before the start
  copy,  ///< overlaps the range, if only in part
  done   ///< begins at or after the end: no later packet is wanted
};

/// Decides for a packet that lasts from `packet_start` to `packet_end`, in seconds of the recording's time.
AudioDecision decide_audio_packet(double packet_start, double packet_end, const TimeRange& range);

/// The range's start in whole microseconds: what copied audio is moved back by.
std::int64_t audio_offset_microseconds(const TimeRange& range);

}  // namespace veyrin
