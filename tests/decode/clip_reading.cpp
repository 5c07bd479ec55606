#include <stdexcept>
#include <utility>

#include "common/platform/files.h"
#include "media/recording_input.h"
#include "tests/decode/clips.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin::test {

InputContextPtr open_clip(const std::filesystem::path& clip) {
  av_log_set_level(AV_LOG_QUIET);  // as in the program: damaged clips are judged by our messages
  std::string error;
  InputContextPtr input = open_recording(clip, {}, {"could not open", "no streams"}, error);
  if (!input) throw std::runtime_error(platform::path_to_utf8(clip) + ": " + error);
  return input;
}

std::vector<PacketPtr> read_packets(AVFormatContext& input) {
  std::vector<PacketPtr> packets;
  for (PacketPtr packet(av_packet_alloc()); av_read_frame(&input, packet.get()) >= 0;) {
    packets.push_back(std::exchange(packet, PacketPtr(av_packet_alloc())));
  }
  return packets;
}

}  // namespace veyrin::test
