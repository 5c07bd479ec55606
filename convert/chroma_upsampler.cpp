#include "convert/chroma_upsampler.h"

#include <utility>

#include "common/error_text.h"
#include "media/ffmpeg.h"

namespace veyrin {

std::unique_ptr<ChromaUpsampler> ChromaUpsampler::create(const AVFrame& encoder_frame, std::string& error) {
  constexpr AVPixelFormat canvas_format = AV_PIX_FMT_YUV420P10LE;
  FramePtr intermediate = allocate_video_frame(canvas_format, encoder_frame.width, encoder_frame.height);
  if (!intermediate) {
    error = "could not allocate the intermediate 4:2:0 ProRes frame";
    return nullptr;
  }
  intermediate->color_range = encoder_frame.color_range;
  ScalerPtr scaler(sws_getContext(
      encoder_frame.width, encoder_frame.height, canvas_format, encoder_frame.width, encoder_frame.height,
      static_cast<AVPixelFormat>(encoder_frame.format), SWS_BICUBIC, nullptr, nullptr, nullptr));
  if (!scaler) {
    error = "could not create the ProRes 4:2:0 to 4:2:2 converter";
    return nullptr;
  }
  return std::unique_ptr<ChromaUpsampler>(new ChromaUpsampler(std::move(intermediate), std::move(scaler)));
}

bool ChromaUpsampler::upsample(AVFrame& encoder_frame, std::string& error) {
  if (av_frame_make_writable(&encoder_frame) < 0) {
    return fail(error, "could not make the ProRes encoder frame writable");
  }
  const int rows = sws_scale(scaler_.get(), intermediate_->data, intermediate_->linesize, 0,
                             intermediate_->height, encoder_frame.data, encoder_frame.linesize);
  if (rows < 0) return fail_with_library_error(error, "ProRes chroma upsampling failed", rows);
  encoder_frame.chroma_location = intermediate_->chroma_location;
  return true;
}

}  // namespace veyrin
