// Rectifies GPU-resident frames with two compute shaders and packs them into a surface of the encoder.
#pragma once

#include <memory>
#include <string>

#include "processing/d3d11/yuv_shaders.h"
#include "processing/yuv_processor.h"

namespace veyrin {

class D3D11YuvProcessor final : public GpuYuvProcessor {
 public:
  /// Uploads the tables and makes everything that frames need; null with one message in `error` on failure.
  /// `device` is a D3D11VA hardware device context; all surfaces are NV12, or P010 for ten bits.
  [[nodiscard]] static std::unique_ptr<D3D11YuvProcessor> create(AVBufferRef* device,
                                                                 const RemapTables& remap,
                                                                 const ProcessorGeometry& geometry,
                                                                 BitDepth depth, std::string& error,
                                                                 const ShaderSource& shaders = {});
  ~D3D11YuvProcessor() override;

  /// Reads two D3D11 frames of the device, cropped as they say, and writes `output`, a frame from
  /// `encoder_frames`. The work is queued on the GPU when this returns; a device that was removed is an
  /// error.
  [[nodiscard]] bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                             std::string& error) const override;

  [[nodiscard]] AVBufferRef* encoder_frames() const override;

 private:
  struct State;
  explicit D3D11YuvProcessor(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace veyrin
