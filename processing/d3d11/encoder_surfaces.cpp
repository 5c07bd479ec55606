#include "processing/d3d11/encoder_surfaces.h"

#include "common/error_text.h"
#include "processing/d3d11/frame_surfaces.h"
#include "processing/d3d11/gpu_resources.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_d3d11va.h>
}

namespace veyrin {
namespace {

[[nodiscard]] bool check_surface(AVBufferRef& frames, BitDepth depth, std::string& error) {
  const FramePtr probe(av_frame_alloc());
  const int status = probe ? av_hwframe_get_buffer(&frames, probe.get(), 0) : AVERROR(ENOMEM);
  if (status < 0)
    return fail_with_library_error(error, "could not allocate a probe D3D11 encoder surface", status);
  if (describe(*frame_texture(*probe)).Format != surface_format(depth))
    return fail_with_result(error, "D3D11 encoder surface validation", E_INVALIDARG);
  return true;
}

}  // namespace

bool create_encoder_frames(AVBufferRef& device, Size canvas, BitDepth depth, BufferRefPtr& frames,
                           std::string& error) {
  frames.reset(av_hwframe_ctx_alloc(&device));
  if (!frames) return fail(error, "could not allocate NVENC D3D11 frame context");
  auto& context = *reinterpret_cast<AVHWFramesContext*>(frames->data);
  context.format = AV_PIX_FMT_D3D11;
  context.sw_format = semi_planar_format(depth);
  context.width = canvas.width;
  context.height = canvas.height;
  context.initial_pool_size = 0;
  static_cast<AVD3D11VAFramesContext*>(context.hwctx)->BindFlags = 0;
  const int status = av_hwframe_ctx_init(frames.get());
  if (status < 0)
    return fail_with_library_error(error, "could not initialize D3D11 NVENC surface pool", status);
  return check_surface(*frames, depth, error);
}

}  // namespace veyrin
