#include <stdexcept>
#include <utility>

#include "common/platform/files.h"
#include "tests/decode/clips.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin::test {

InputContextPtr open_clip(const std::filesystem::path& clip) {
  av_log_set_level(AV_LOG_QUIET);  // as in the program: damaged clips are judged by our messages
  AVFormatContext* context = nullptr;
  if (avformat_open_input(&context, platform::path_to_utf8(clip).c_str(), nullptr, nullptr) < 0) {
    throw std::runtime_error("could not open " + platform::path_to_utf8(clip));
  }
  InputContextPtr input(context);
  if (avformat_find_stream_info(context, nullptr) < 0)
    throw std::runtime_error("no streams in " + platform::path_to_utf8(clip));
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
