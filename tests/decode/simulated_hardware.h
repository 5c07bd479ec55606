// Hardware decoding on a machine without it: the library calls that need the hardware are stood in for, the
// rest (decoders, frames, queues) is real.
#pragma once

#include <cstdint>
#include <vector>

#include "decode/eye_decoder.h"

extern "C" {
#include <libavutil/buffer.h>
}

namespace veyrin::test {

/// Stands for the source's picture in system memory: its size, and `mark` as its first sample. Like the
/// library's own transfer it writes into the buffers that the target has and makes some when it has none.
/// Times and colours are properties, which a transfer leaves behind.
inline int transfer_picture(AVFrame* target, const AVFrame* source, AVPixelFormat format, int mark) {
  if (target->buf[0] == nullptr) {
    target->format = format;
    target->width = source->width;
    target->height = source->height;
    const int status = av_frame_get_buffer(target, 0);
    if (status < 0) return status;
  }
  target->data[0][0] = static_cast<std::uint8_t>(mark);
  return 0;
}

/// A machine whose decoders put out hardware frames, as far as the decoder under test can tell.
struct SimulatedHardware {
  bool offered = true;
  int device_status = 0;
  int hardware_open_status = 0;  // of contexts that have a device
  int opens_before_hardware_works = 0;
  int download_status = 0;
  int map_status = 0;
  AVPixelFormat frame_format = AV_PIX_FMT_NONE;  // what received frames claim to be; none leaves them alone
  AVPixelFormat downloaded_format = AV_PIX_FMT_YUV420P;
  int devices_made = 0;
  int transfers = 0;                             // also the mark of the latest transferred picture
  std::vector<const AVBufferRef*> devices_seen;  // by the open calls; null for software
  std::vector<AVCodecContext*> contexts;         // that were opened; the latest of an eye is its own
  DecoderCalls calls;

  SimulatedHardware() {
    const DecoderCalls& real = ffmpeg_decoder_calls();
    calls.offers_d3d11va = [this](const AVCodec&) { return offered; };
    calls.create_d3d11va_device = [this](AVBufferRef** device) {
      ++devices_made;
      if (device_status == 0) *device = av_buffer_alloc(1);
      return device_status;
    };
    calls.open = [this, &real](AVCodecContext* context, const AVCodec* decoder) {
      devices_seen.push_back(context->hw_device_ctx);
      const bool works = static_cast<int>(devices_seen.size()) > opens_before_hardware_works;
      if (context->hw_device_ctx != nullptr && !works) return AVERROR(ENOSYS);
      if (context->hw_device_ctx != nullptr && hardware_open_status < 0) return hardware_open_status;
      const int status = real.open(context, decoder);
      if (status >= 0) contexts.push_back(context);
      return status;
    };
    calls.receive = [this, &real](AVCodecContext* context, AVFrame* frame) {
      const int status = real.receive(context, frame);
      if (status >= 0 && frame_format != AV_PIX_FMT_NONE) frame->format = frame_format;
      return status;
    };
    calls.download = [this](AVFrame* target, const AVFrame* source) {
      return download_status < 0 ? download_status
                                 : transfer_picture(target, source, downloaded_format, ++transfers);
    };
    calls.map = [this](AVFrame* target, const AVFrame* source) {
      if (map_status < 0) return map_status;
      const int status = transfer_picture(target, source, downloaded_format, ++transfers);
      return status < 0 ? status : av_frame_copy_props(target, source);
    };
  }
};

}  // namespace veyrin::test
