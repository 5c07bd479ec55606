#include "convert/gpu_pipeline.h"

#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/program.h"
#include "processing/uploading_processor.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin {
namespace {

[[nodiscard]] std::unique_ptr<GpuYuvProcessor> make_processor(const GpuPipelineJob& job, AVBufferRef* device,
                                                              const GpuPipelineCalls& calls,
                                                              std::string& error) {
  // Surfaces keep the depth of the recording, and the encoder would follow it where the GPU can.
  if (job.encoder.codec == SbsCodec::h264 && job.encoder.depth == BitDepth::ten) {
    error = "H.264 output is 8-bit";
    return nullptr;
  }
  return calls.create_processor(device, job.tables, job.geometry, job.encoder.depth, error);
}

// The encoder that takes memory frames stays open until the one on surfaces is.
[[nodiscard]] bool open_on_surfaces(const EncoderRequest& request, AVBufferRef& surfaces,
                                    const GpuPipelineCalls& calls, CodecContextPtr& encoder,
                                    std::string& error) {
  const AVCodec* codec = encoder->codec;
  CodecContextPtr context(avcodec_alloc_context3(codec));
  if (!context) return fail(error, "could not allocate the video encoder");
  configure_encoder(request, AV_PIX_FMT_D3D11, encoder->bit_rate, *context);
  context->sw_pix_fmt = reinterpret_cast<const AVHWFramesContext*>(surfaces.data)->sw_format;
  context->hw_frames_ctx = av_buffer_ref(&surfaces);
  if (context->hw_frames_ctx == nullptr) return fail(error, "could not retain the encoder's surfaces");
  const int result = calls.open(context.get(), codec, nullptr);
  if (result < 0) return fail_with_library_error(error, "could not open the encoder on GPU surfaces", result);
  encoder = std::move(context);
  return true;
}

}  // namespace

const GpuPipelineCalls& system_gpu_pipeline_calls() {
  static const GpuPipelineCalls calls{
      .create_processor = GpuYuvProcessor::create,
      .open = avcodec_open2,
      .disabled = [] { return platform::environment_switch("VEYRIN_DISABLE_D3D11_GPU_PIPELINE"); },
  };
  return calls;
}

std::unique_ptr<YuvProcessor> use_gpu_pipeline(const GpuPipelineJob& job, AVBufferRef* device,
                                               InProcessEncoder& selected, const GpuPipelineCalls& calls) {
  if (device == nullptr || calls.disabled() || !selected.candidate.takes_gpu_surfaces) return nullptr;
  std::string reason;
  auto processor = make_processor(job, device, calls, reason);
  if (processor &&
      open_on_surfaces(job.encoder, *processor->encoder_frames(), calls, selected.context, reason)) {
    // A decoder may find out later that its device cannot decode the stream.
    return std::make_unique<UploadingProcessor>(device, job.geometry.source, job.encoder.depth,
                                                std::move(processor));
  }
  console_line("  D3D11 YUV GPU pipeline unavailable: %s; using CPU path", reason.c_str());
  return nullptr;
}

}  // namespace veyrin
