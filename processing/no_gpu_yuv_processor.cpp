// Systems without a GPU interface that the processor is written for.
#include "processing/gpu_yuv_processor.h"

namespace veyrin {

std::unique_ptr<GpuYuvProcessor> create_gpu_yuv_processor(AVBufferRef* /*device*/,
                                                          const RectificationMaps& /*maps*/,
                                                          const ProcessorGeometry& /*geometry*/,
                                                          bool /*ten_bit*/, std::string& error) {
  error = "Direct3D 11 is not part of this system";
  return nullptr;
}

}  // namespace veyrin
