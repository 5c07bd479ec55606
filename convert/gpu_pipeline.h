// Frames that stay on the GPU from the decoder to the encoder, where the machine can.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "convert/encoder_selection.h"
#include "processing/remap_tables.h"
#include "processing/uploading_processor.h"
#include "processing/yuv_processor.h"

namespace veyrin {

/// What the GPU pipeline asks of the machine, as a table that tests can replace.
struct GpuPipelineCalls {
  std::function<decltype(GpuYuvProcessor::create)> create_processor;
  std::function<decltype(veyrin::make_upload_surfaces)> make_upload_surfaces;
  std::function<int(AVCodecContext*, const AVCodec*, AVDictionary**)> open;
  std::function<bool()> disabled;
};

/// The system's processor, FFmpeg's encoders and the environment switch `VEYRIN_DISABLE_D3D11_GPU_PIPELINE`.
const GpuPipelineCalls& system_gpu_pipeline_calls();

/// What is converted, as for the CPU processor.
struct GpuPipelineJob {
  const EncoderRequest& encoder;
  const RemapTables& tables;
  ProcessorGeometry geometry;
};

/// Makes the GPU processor on the decoders' hardware device (null when they decode in software) and opens the
/// selected encoder anew on its surfaces. Null, with everything as before, where frames cannot stay on the
/// GPU or memory runs out; a line on the console says so when that was tried.
std::unique_ptr<YuvProcessor> use_gpu_pipeline(const GpuPipelineJob& job, AVBufferRef* device,
                                               InProcessEncoder& selected,
                                               const GpuPipelineCalls& calls = system_gpu_pipeline_calls());

}  // namespace veyrin
