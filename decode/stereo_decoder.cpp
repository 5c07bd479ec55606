#include "decode/stereo_decoder.h"

#include <utility>

#include "common/error_text.h"

namespace veyrin {

std::unique_ptr<StereoDecoder> StereoDecoder::create(AVFormatContext& input, int left_index, int right_index,
                                                     DecoderPreference preference, std::string& error,
                                                     const DecoderCalls& calls) {
  auto left =
      EyeDecoder::create(*input.streams[left_index], preference, /*shared_device=*/nullptr, error, calls);
  if (left == nullptr) return nullptr;
  auto right =
      EyeDecoder::create(*input.streams[right_index], preference, left->hardware_device(), error, calls);
  if (right == nullptr) return nullptr;
  return std::unique_ptr<StereoDecoder>(new StereoDecoder(std::move(left), std::move(right)));
}

void StereoDecoder::keep_frames_on_gpu() {
  left_->keep_frames_on_gpu();
  right_->keep_frames_on_gpu();
}

bool StereoDecoder::queue_packet(const AVPacket& packet, std::string& error) {
  for (EyeDecoder* eye : {left_.get(), right_.get()}) {
    if (packet.stream_index != eye->stream().index) continue;
    PacketPtr reference(av_packet_clone(&packet));
    if (reference == nullptr) return fail(error, "could not retain a video packet");
    eye->queue_packet(std::move(reference));
    if (!eye->pump(error)) return false;
  }
  return true;
}

bool StereoDecoder::finish(std::string& error) {
  left_->finish();
  right_->finish();
  return pump(error);
}

bool StereoDecoder::pump(std::string& error) {
  return left_->pump(error) && right_->pump(error);
}

}  // namespace veyrin
