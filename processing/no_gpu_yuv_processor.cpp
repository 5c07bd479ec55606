// Systems without a GPU interface that the processor is written for.
#include "processing/yuv_processor.h"

namespace veyrin {

std::unique_ptr<GpuYuvProcessor> GpuYuvProcessor::create(AVBufferRef* /*device*/,
                                                         const RemapTables& /*tables*/,
                                                         const ProcessorGeometry& /*geometry*/,
                                                         BitDepth /*depth*/, std::string& error) {
  error = "Direct3D 11 is not part of this system";
  return nullptr;
}

}  // namespace veyrin
