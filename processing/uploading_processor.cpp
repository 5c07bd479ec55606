#include "processing/uploading_processor.h"

#include <utility>

#include "common/error_text.h"
#include "media/video_types.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin {
namespace {

// The same codes with the planes in another arrangement, whatever their range.
FramePtr rearrange(const AVFrame& frame, AVPixelFormat format) {
  const auto from =
      frame.format == AV_PIX_FMT_YUVJ420P ? AV_PIX_FMT_YUV420P : static_cast<AVPixelFormat>(frame.format);
  FramePtr arranged = allocate_video_frame(format, {frame.width, frame.height});
  const ScalerPtr scaler(sws_getContext(frame.width, frame.height, from, frame.width, frame.height, format,
                                        SWS_POINT, nullptr, nullptr, nullptr));
  if (!arranged || !scaler ||
      sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, arranged->data,
                arranged->linesize) < 0)
    return nullptr;
  return arranged;
}

}  // namespace

BufferRefPtr make_upload_surfaces(AVBufferRef* device, Size source, BitDepth depth, std::string& error) {
  BufferRefPtr surfaces(av_hwframe_ctx_alloc(device));
  int result = AVERROR(ENOMEM);
  if (surfaces) {
    auto& frames = *reinterpret_cast<AVHWFramesContext*>(surfaces->data);
    frames.format = AV_PIX_FMT_D3D11;
    frames.sw_format = semi_planar_format(depth);
    frames.width = source.width;
    frames.height = source.height;
    result = av_hwframe_ctx_init(surfaces.get());
  }
  if (result >= 0) return surfaces;
  error = with_library_error("could not prepare uploads of decoded frames", result);
  return nullptr;
}

UploadingProcessor::UploadingProcessor(BufferRefPtr surfaces, std::unique_ptr<GpuYuvProcessor> processor)
    : surfaces_(std::move(surfaces)), processor_(std::move(processor)) {}

bool UploadingProcessor::process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                                 std::string& error) const {
  FramePtr left_surface;
  FramePtr right_surface;
  const AVFrame* left_on_gpu = on_gpu(left, left_surface, error);
  const AVFrame* right_on_gpu = left_on_gpu != nullptr ? on_gpu(right, right_surface, error) : nullptr;
  return right_on_gpu != nullptr && processor_->process(left_on_gpu, right_on_gpu, output, error);
}

const AVFrame* UploadingProcessor::on_gpu(const AVFrame* frame, FramePtr& surface, std::string& error) const {
  if (frame->format == AV_PIX_FMT_D3D11) return frame;
  surface.reset(av_frame_alloc());
  const int result = surface ? upload(*frame, *surface) : AVERROR(ENOMEM);
  if (result >= 0) return surface.get();
  error = with_library_error("could not upload a decoded frame", result);
  return nullptr;
}

int UploadingProcessor::upload(const AVFrame& frame, AVFrame& surface) const {
  const auto& frames = *reinterpret_cast<const AVHWFramesContext*>(surfaces_->data);
  if (frame.width != frames.width || frame.height != frames.height) return AVERROR(EINVAL);
  const int result = av_hwframe_get_buffer(surfaces_.get(), &surface, 0);
  if (result < 0) return result;
  if (frame.format == frames.sw_format) return av_hwframe_transfer_data(&surface, &frame, 0);
  const FramePtr arranged = rearrange(frame, frames.sw_format);
  return arranged ? av_hwframe_transfer_data(&surface, arranged.get(), 0) : AVERROR(ENOMEM);
}

}  // namespace veyrin
