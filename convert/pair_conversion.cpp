#include "convert/pair_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "common/error_text.h"

namespace veyrin {
namespace {

// Missing frames are made up by repeating the next one. Cameras lose some; only broken time stamps leave out
// more than this, and filling such a gap could fill the disk.
constexpr double longest_filled_gap_seconds = 60.0;

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

}  // namespace veyrin
