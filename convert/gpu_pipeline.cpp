#include "convert/gpu_pipeline.h"

#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/program.h"
#include "convert/encoder_settings.h"
#include "media/ffmpeg.h"
#include "processing/uploading_processor.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin {
namespace {

bool takes_gpu_surfaces(const SelectedEncoder& encoder) {
  return !encoder.packaged && (encoder.display_name == "hevc_nvenc" || encoder.display_name == "h264_nvenc");
}

std::unique_ptr<GpuYuvProcessor> make_processor(const GpuPipelineJob& job, AVBufferRef* device,
                                                const GpuPipelineServices& services, std::string& error) {
  // Surfaces keep the depth of the recording, and the encoder would follow it where the GPU can.
  if (job.encoder.codec == SbsCodec::h264 && job.encoder.ten_bit) {
    error = "H.264 output is 8-bit";
    return nullptr;
  }
  return services.create_processor(device, job.maps, job.geometry, job.encoder.ten_bit, error);
}

// The encoder that takes memory frames stays open until the one on surfaces is.
bool open_on_surfaces(const EncoderRequest& request, AVBufferRef& surfaces,
                      const GpuPipelineServices& services, SelectedEncoder& selected, std::string& error) {
  const AVCodec* codec = selected.context->codec;
  CodecContextPtr context(avcodec_alloc_context3(codec));
  if (!context) return fail(error, "could not allocate the video encoder");
  configure_encoder(request, AV_PIX_FMT_D3D11, selected.context->bit_rate, *context);
  context->sw_pix_fmt = reinterpret_cast<const AVHWFramesContext*>(surfaces.data)->sw_format;
  context->hw_frames_ctx = av_buffer_ref(&surfaces);
  if (context->hw_frames_ctx == nullptr) return fail(error, "could not retain the encoder's surfaces");
  const int result = services.open(context.get(), codec, nullptr);
  if (result < 0) return fail_with_library_error(error, "could not open the encoder on GPU surfaces", result);
  selected.context = std::move(context);
  return true;
}

}  // namespace

GpuPipelineServices system_gpu_pipeline_services() {
  GpuPipelineServices services;
  services.open = avcodec_open2;
  services.disabled = platform::environment_switch("VEYRIN_DISABLE_D3D11_GPU_PIPELINE");
  return services;
}

std::unique_ptr<YuvProcessor> use_gpu_pipeline(const GpuPipelineJob& job, AVBufferRef* device,
                                               const GpuPipelineServices& services,
                                               SelectedEncoder& selected) {
  if (device == nullptr || services.disabled || !takes_gpu_surfaces(selected)) return nullptr;
  std::string reason;
  auto processor = make_processor(job, device, services, reason);
  if (processor && open_on_surfaces(job.encoder, *processor->encoder_frames(), services, selected, reason)) {
    // A decoder may find out later that its device cannot decode the stream.
    return std::make_unique<UploadingProcessor>(device, job.geometry, job.encoder.ten_bit,
                                                std::move(processor));
  }
  console_line("  D3D11 YUV GPU pipeline unavailable: %s; using CPU path", reason.c_str());
  return nullptr;
}

}  // namespace veyrin
