#include "decode/stereo_decoder.h"

#include <utility>

#include "common/error_text.h"

namespace veyrin {

void StereoDecoder::set_streams(AVFormatContext& input, int left_index, int right_index) {
  left_.set_stream(*input.streams[left_index]);
  right_.set_stream(*input.streams[right_index]);
}

bool StereoDecoder::open(AVFormatContext& input, int left_index, int right_index, bool software_only,
                         std::string& error) {
  if (!left_.open(*input.streams[left_index], software_only, /*shared_device=*/nullptr, error)) return false;
  AVBufferRef* device = left_.context()->hw_device_ctx;
  return right_.open(*input.streams[right_index], software_only, device, error);
}

void StereoDecoder::keep_frames_on_gpu() {
  left_.keep_frames_on_gpu(true);
  right_.keep_frames_on_gpu(true);
}

bool StereoDecoder::uses_stream(int stream_index) const {
  return stream_index == left_.stream().index || stream_index == right_.stream().index;
}

bool StereoDecoder::queue_packet(const AVPacket& packet, std::string& error) {
  for (EyeDecoder* eye : {&left_, &right_}) {
    if (packet.stream_index != eye->stream().index) continue;
    PacketPtr reference(av_packet_clone(&packet));
    if (reference == nullptr) return fail(error, "could not retain a video packet");
    eye->queue_packet(std::move(reference));
    if (!eye->pump(error)) return false;
  }
  return true;
}

bool StereoDecoder::finish(std::string& error) {
  left_.finish();
  right_.finish();
  return pump(error);
}

bool StereoDecoder::pump(std::string& error) {
  return left_.pump(error) && right_.pump(error);
}

}  // namespace veyrin
