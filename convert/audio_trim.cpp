#include "convert/audio_trim.h"

#include <cmath>

namespace veyrin {

AudioDecision decide_audio_packet(double packet_start, double packet_end, const TrimRange& range) {
  if (packet_start >= range.end) return AudioDecision::done;
  return packet_end > range.start ? AudioDecision::copy : AudioDecision::skip;
}

std::int64_t audio_offset_microseconds(const TrimRange& range) {
  return std::llround(range.start * 1'000'000.0);
}

}  // namespace veyrin
