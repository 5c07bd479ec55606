// The processor for frames that stay on the GPU from the decoder to the encoder, where the system has one.
#pragma once

#include <memory>
#include <string>

#include "processing/yuv_processor.h"
#include "rectification/rectification_maps.h"

struct AVBufferRef;

namespace veyrin {

class GpuYuvProcessor : public YuvProcessor {
 public:
  /// The frames context of the surfaces that `process` writes into, for the encoder; owned by the processor.
  [[nodiscard]] virtual AVBufferRef* encoder_frames() const = 0;
};

/// Makes the system's GPU processor on the decoders' hardware device, which it takes a reference to; null
/// with the reason in `error` where that is not possible. The maps are read only during the call.
std::unique_ptr<GpuYuvProcessor> create_gpu_yuv_processor(AVBufferRef* device, const RectificationMaps& maps,
                                                          const ProcessorGeometry& geometry, bool ten_bit,
                                                          std::string& error);

}  // namespace veyrin
