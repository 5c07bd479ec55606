#include "convert/frame_packing_sei.h"

#include <algorithm>

#include "media/ffmpeg.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace veyrin {

bool add_frame_packing_sei(AVCodecID codec, AVPacket& packet, std::string& error) {
  if (codec != AV_CODEC_ID_H264 || (packet.flags & AV_PKT_FLAG_KEY) == 0) return true;
  const int old_size = packet.size;
  const int result = av_grow_packet(&packet, static_cast<int>(frame_packing_sei.size()));
  if (result < 0) return fail_with_library_error(error, "could not add H.264 frame-packing SEI", result);
  std::copy_backward(packet.data, packet.data + old_size, packet.data + packet.size);
  std::copy(frame_packing_sei.begin(), frame_packing_sei.end(), packet.data);
  return true;
}

}  // namespace veyrin
