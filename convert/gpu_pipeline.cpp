#include "convert/gpu_pipeline.h"

#include <new>
#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/program.h"

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

[[nodiscard]] std::unique_ptr<YuvProcessor> make_pipeline(const GpuPipelineJob& job, AVBufferRef* device,
                                                          InProcessEncoder& selected,
                                                          const GpuPipelineCalls& calls, std::string& error) {
  auto processor = make_processor(job, device, calls, error);
  if (!processor) return nullptr;
  AVBufferRef& canvases = *processor->encoder_frames();
  // A decoder may find out later that its device cannot decode the stream.
  BufferRefPtr uploads = calls.make_upload_surfaces(device, job.geometry.source, job.encoder.depth, error);
  if (!uploads) return nullptr;
  auto pipeline = std::make_unique<UploadingProcessor>(std::move(uploads), std::move(processor));
  // Comes last: with the encoder on surfaces there is no way back.
  if (!open_on_surfaces(job.encoder, canvases, calls, selected.context, error)) return nullptr;
  return pipeline;
}

}  // namespace

const GpuPipelineCalls& system_gpu_pipeline_calls() {
  static const GpuPipelineCalls calls{
      .create_processor = GpuYuvProcessor::create,
      .make_upload_surfaces = make_upload_surfaces,
      .open = avcodec_open2,
      .disabled = [] { return platform::environment_switch("VEYRIN_DISABLE_D3D11_GPU_PIPELINE"); },
  };
  return calls;
}

std::unique_ptr<YuvProcessor> use_gpu_pipeline(const GpuPipelineJob& job, AVBufferRef* device,
                                               InProcessEncoder& selected, const GpuPipelineCalls& calls) {
  if (device == nullptr || calls.disabled() || !selected.candidate.takes_gpu_surfaces) return nullptr;
  std::string reason;
  try {
    if (auto pipeline = make_pipeline(job, device, selected, calls, reason)) return pipeline;
  } catch (const std::bad_alloc&) {
    // The tables alone take more memory than the CPU's. All of it has been given back here.
    reason = "could not allocate memory";
  }
  console_line("  D3D11 YUV GPU pipeline unavailable: %s; using CPU path", reason.c_str());
  return nullptr;
}

}  // namespace veyrin
