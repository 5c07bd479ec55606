#include "spatial/spatial_encoder_calls.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace veyrin {

const SpatialEncoderCalls& ffmpeg_spatial_encoder_calls() {
  static const SpatialEncoderCalls calls{
      .find = avcodec_find_encoder_by_name,
      .set_option = [](AVCodecContext* context, const char* option,
                       const char* value) { return av_opt_set(context->priv_data, option, value, 0); },
      .open = [](AVCodecContext* context) { return avcodec_open2(context, nullptr, nullptr); },
      .send = avcodec_send_frame,
      .receive = avcodec_receive_packet,
  };
  return calls;
}

}  // namespace veyrin
