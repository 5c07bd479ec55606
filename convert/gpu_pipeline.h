// Frames that stay on the GPU from the decoder to the encoder, where the machine can.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "convert/encoder_selection.h"
#include "processing/gpu_yuv_processor.h"

namespace veyrin {

/// What the GPU pipeline asks of the machine. Tests stand in for GPUs that the machine does not have.
struct GpuPipelineServices {
  std::function<decltype(create_gpu_yuv_processor)> create_processor = create_gpu_yuv_processor;
  std::function<int(AVCodecContext*, const AVCodec*, AVDictionary**)> open;
  bool disabled = false;
};

/// The system's processor, FFmpeg's encoders and the environment switch `VEYRIN_DISABLE_D3D11_GPU_PIPELINE`.
GpuPipelineServices system_gpu_pipeline_services();

/// What is converted, as for the CPU processor.
struct GpuPipelineJob {
  const EncoderRequest& encoder;
  const RectificationMaps& maps;
  ProcessorGeometry geometry;
};

/// Makes the GPU processor on the decoders' hardware device (null when they decode in software) and opens the
/// selected encoder anew on its surfaces. Null, with everything as before, where frames cannot stay on the
/// GPU; a line on the console says so when that was tried.
std::unique_ptr<YuvProcessor> use_gpu_pipeline(const GpuPipelineJob& job, AVBufferRef* device,
                                               const GpuPipelineServices& services,
                                               SelectedEncoder& selected);

}  // namespace veyrin
