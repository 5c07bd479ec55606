// Which audio packets belong to the converted range, by their times alone.
#pragma once

#include <cstdint>

#include "convert/frame_timing.h"

namespace veyrin {

enum class AudioDecision {
  skip,  ///< ends at or before the start
  copy,  ///< overlaps the range, if only in part
  done   ///< begins at or after the end: no later packet is wanted
};

/// Decides for a packet that lasts from `packet_start` to `packet_end`, in seconds of the recording's time.
AudioDecision decide_audio_packet(double packet_start, double packet_end, const TrimRange& range);

/// The trim start in whole microseconds: what copied audio is moved back by.
std::int64_t audio_offset_microseconds(const TrimRange& range);

}  // namespace veyrin
