#include "decode/stereo_decoder.h"

#include <utility>

#include "common/error_text.h"
#include "decode/hardware_only.h"

namespace veyrin {
namespace {

/// Opens an eye's decoder, unless it would be one without hardware for a stream that needs it.
[[nodiscard]] std::unique_ptr<EyeDecoder> open_eye(AVFormatContext& input, int index,
                                                   DecoderPreference preference, AVBufferRef* shared_device,
                                                   std::string& error, const DecoderCalls& calls) {
  AVStream& stream = *input.streams[index];
  auto eye = EyeDecoder::create(stream, preference, shared_device, error, calls);
  if (eye == nullptr || eye->hardware_device() != nullptr || !needs_hardware_decoder(input, index))
    return eye;
  report_hardware_only(stream);
  error = "no decoder is available for video stream " + std::to_string(index);
  return nullptr;
}

}  // namespace

std::unique_ptr<StereoDecoder> StereoDecoder::create(AVFormatContext& input, int left_index, int right_index,
                                                     DecoderPreference preference, std::string& error,
                                                     const DecoderCalls& calls) {
  auto left = open_eye(input, left_index, preference, /*shared_device=*/nullptr, error, calls);
  if (left == nullptr) return nullptr;
  auto right = open_eye(input, right_index, preference, left->hardware_device(), error, calls);
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
