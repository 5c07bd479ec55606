#include "join/frame_schedule.h"

#include <algorithm>

#include "convert/frame_timing.h"

namespace veyrin {

FrameSchedule::FrameSchedule(std::span<const PairTime> pairs, const TimeRange& range, FrameRate output_rate,
                             FrameRate input_rate) {
  FramePacer pacer(range, output_rate, input_rate);
  const auto is_before = [&pacer](const PairTime& pair) {
    return pacer.decide(pair.seconds) == PairDecision::drop;
  };
  // All pairs up to one are before the range.
  const auto begin = std::ranges::partition_point(pairs, is_before);
  for (auto pair = begin; pair != pairs.end(); ++pair) {
    const PairDecision decision = pacer.decide(pair->seconds);
    if (decision == PairDecision::finish) break;
    if (decision == PairDecision::drop) continue;
    runs_.push_back({static_cast<std::size_t>(pair - pairs.begin()), pacer.frames_written()});
    do {
      pacer.advance();
    } while (pacer.repeats(pair->seconds));
  }
  frames_ = pacer.frames_written();
}

std::optional<std::size_t> FrameSchedule::pair_shown_from(std::int64_t frame) const {
  const auto run = std::ranges::lower_bound(runs_, frame, {}, &Run::first);
  if (run == runs_.end() || run->first != frame) return std::nullopt;
  return run->pair;
}

bool FrameSchedule::is_part_of(const FrameSchedule& whole, std::int64_t first) const {
  auto other = std::ranges::lower_bound(whole.runs_, first, {}, &Run::first);
  for (const Run& run : runs_) {
    if (other == whole.runs_.end() || other->pair != run.pair || other->first != first + run.first)
      return false;
    ++other;
  }
  const std::int64_t end = other == whole.runs_.end() ? whole.frames_ : other->first;
  return end == first + frames_;
}

}  // namespace veyrin
