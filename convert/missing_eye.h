// Notices that one eye's track has ended while the other goes on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

extern "C" {
#include <libavformat/avformat.h>
}

namespace veyrin {

/// The demuxer hands packets out nearly in time order, so an eye that waits for this many packets of the
/// other one (over eight seconds even at 60 frames per second) either has none left or has a gap.
inline constexpr std::size_t patience_packets = 512;

/// Follows one eye's packets and tells by the container's index when none can follow.
class TrackEnd {
 public:
  /// Notes a demuxed packet of the track.
  void saw_packet(const AVPacket& packet) { last_dts_ = packet.dts; }

  /// True when the index of `stream` holds nothing after the packets seen so far. An index may still grow in
  /// fragmented files, so this is meant for tracks that have been silent for `patience_packets`.
  [[nodiscard]] bool reached(AVStream& stream) const;

 private:
  std::optional<std::int64_t> last_dts_;
};

}  // namespace veyrin
