#include "decode/eye_decoder.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin {
namespace {

bool offers_d3d11va(const AVCodec& decoder) {
  for (int index = 0;; ++index) {
    const AVCodecHWConfig* config = avcodec_get_hw_config(&decoder, index);
    if (config == nullptr) return false;
    if (config->device_type == AV_HWDEVICE_TYPE_D3D11VA && config->pix_fmt == AV_PIX_FMT_D3D11 &&
        (config->methods & AV_CODEC_HW_CONFIG_METHOD_HW_DEVICE_CTX) != 0) {
      return true;
    }
  }
}

}  // namespace

const DecoderCalls& ffmpeg_decoder_calls() {
  static const DecoderCalls calls{
      .offers_d3d11va = offers_d3d11va,
      .create_d3d11va_device =
          [](AVBufferRef** device) {
            return av_hwdevice_ctx_create(device, AV_HWDEVICE_TYPE_D3D11VA, nullptr, nullptr, 0);
          },
      .open = [](AVCodecContext* context,
                 const AVCodec* decoder) { return avcodec_open2(context, decoder, nullptr); },
      .receive = avcodec_receive_frame,
      .download = [](AVFrame* target,
                     const AVFrame* source) { return av_hwframe_transfer_data(target, source, 0); },
      .map = [](AVFrame* target,
                const AVFrame* source) { return av_hwframe_map(target, source, AV_HWFRAME_MAP_READ); },
  };
  return calls;
}

AVPixelFormat preferred_decoder_format(const AVPixelFormat* offered) {
  for (const AVPixelFormat* format = offered; *format != AV_PIX_FMT_NONE; ++format) {
    if (*format == AV_PIX_FMT_D3D11) return *format;
  }
  return *offered;
}

}  // namespace veyrin
