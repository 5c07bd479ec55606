// Which frames of a movie show which pair of a recording's pictures, told by the pairs' times alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "media/video_types.h"

namespace veyrin {

/// One pair of pictures, on the recording's clock.
struct PairTime {
  double seconds = 0.0;       ///< the later one's time
  double step_seconds = 0.0;  ///< from the left one's time to the right one's
};

/// What a conversion does with each pair, in order.
class FrameSchedule {
 public:
  /// As converting the range does it; the rates are the conversion's. The pairs are in order of time.
  FrameSchedule(std::span<const PairTime> pairs, const TimeRange& range, FrameRate output_rate,
                FrameRate input_rate);

  /// Frames of the movie.
  [[nodiscard]] std::int64_t frames() const { return frames_; }

  /// The position of the pair that is shown from this frame on, counted from 0; nothing when the frame
  /// repeats the one before it, or is none of the movie's.
  [[nodiscard]] std::optional<std::size_t> pair_shown_from(std::int64_t frame) const;

  /// True when the frames of this movie are those of the other one, of the same pairs, from its frame `first`
  /// on.
  [[nodiscard]] bool is_part_of(const FrameSchedule& whole, std::int64_t first) const;

 private:
  struct Run {
    std::size_t pair = 0;
    std::int64_t first = 0;  ///< frame
  };

  std::vector<Run> runs_;  // all pairs that are shown
  std::int64_t frames_ = 0;
};

}  // namespace veyrin
