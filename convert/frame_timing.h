// When frames are written: trimming and frame-rate normalisation as plain arithmetic on seconds.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

namespace veyrin {

/// Frames per second as a fraction; both terms at least 1 in a valid rate.
struct FrameRate {
  int numerator = 0;
  int denominator = 1;
  [[nodiscard]] bool valid() const { return numerator >= 1 && denominator >= 1; }
  /// Seconds per frame.
  [[nodiscard]] double frame_duration() const { return static_cast<double>(denominator) / numerator; }
};

/// The part of the recording that is converted, in seconds of the recording's time.
struct TrimRange {
  double start = 0.0;
  double end = std::numeric_limits<double>::infinity();

  /// The range from `start`, `duration` seconds long or open when absent.
  static TrimRange from(double start, std::optional<double> duration);
  /// Length of what can be converted of a recording, at least 0.001 s so that progress can be computed.
  [[nodiscard]] double span(double recording_duration) const;
};

/// The rate frames are written at: the requested one (turned into a fraction by the caller) when there is
/// one, else the input's, else 30.
FrameRate choose_output_rate(std::optional<FrameRate> requested, FrameRate input);

/// What to do with a pair of frames.
enum class PairDecision {
  drop,    ///< before the trim, or the input runs faster than the output
  encode,  ///< write it, and again as long as `repeats` says so
  finish   ///< at or after the end: no later pair is wanted
};

/// Decides for each pair of frames, by its time alone, whether and how often it is written. The time of the
/// next output frame is computed from the start and the count of written frames, so it never drifts.
class FramePacer {
 public:
  FramePacer(TrimRange range, FrameRate output_rate, FrameRate input_rate);

  /// `pair_time` is the later of the two frame times, in seconds.
  [[nodiscard]] PairDecision decide(double pair_time) const;
  /// Seconds without a picture before this pair that writing it would fill; below 0 when it fills nothing.
  [[nodiscard]] double gap_before(double pair_time) const;
  /// True while the pair just written must be written once more to reach the output rate.
  [[nodiscard]] bool repeats(double pair_time) const;
  /// Counts one written frame.
  void advance() { ++frames_written_; }

  /// Number of frames written so far; also the index, in output frames from 0, of the next one.
  [[nodiscard]] std::int64_t frames_written() const { return frames_written_; }
  /// Seconds in the recording's time at which the next output frame stands.
  [[nodiscard]] double next_output_time() const;

 private:
  TrimRange range_;
  FrameRate output_rate_;
  double half_output_frame_;
  double half_input_frame_;
  double tolerance_;
  std::int64_t frames_written_ = 0;
};

}  // namespace veyrin
