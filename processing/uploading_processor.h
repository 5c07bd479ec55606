// The GPU processor for decoders that may give frames in memory all the same.
#pragma once

#include <memory>
#include <string>

#include "media/ffmpeg.h"
#include "processing/gpu_yuv_processor.h"

namespace veyrin {

/// Puts frames that are in memory onto the device before the processor behind it sees them; others pass
/// through.
class UploadingProcessor final : public YuvProcessor {
 public:
  UploadingProcessor(AVBufferRef* device, const ProcessorGeometry& geometry, bool ten_bit,
                     std::unique_ptr<GpuYuvProcessor> processor);

  [[nodiscard]] bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                             std::string& error) const override;

 private:
  /// The frame itself when it needs no upload, else the surface now held by `surface`; null with a message.
  const AVFrame* on_gpu(const AVFrame* frame, FramePtr& surface, std::string& error) const;
  [[nodiscard]] int upload(const AVFrame& frame, AVFrame& surface) const;

  BufferRefPtr surfaces_;
  std::unique_ptr<GpuYuvProcessor> processor_;
};

}  // namespace veyrin
