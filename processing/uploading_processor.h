// The GPU processor behind decoders that may fall back to frames in memory.
#pragma once

#include <memory>
#include <string>

#include "media/ffmpeg.h"
#include "media/video_types.h"
#include "processing/yuv_processor.h"

namespace veyrin {

/// Makes the frames context of surfaces of this size and depth on the device, for uploads. No surface is made
/// before the first upload; null with one message in `error` on failure.
[[nodiscard]] BufferRefPtr make_upload_surfaces(AVBufferRef* device, Size source, BitDepth depth,
                                                std::string& error);

/// Uploads frames that are in memory before it hands them to the GPU processor; those on the device pass
/// through.
class UploadingProcessor final : public YuvProcessor {
 public:
  /// For frames of the size of the surfaces, which are from `make_upload_surfaces`.
  UploadingProcessor(BufferRefPtr surfaces, std::unique_ptr<GpuYuvProcessor> processor);

  [[nodiscard]] bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                             std::string& error) const override;

 private:
  /// The frame itself when it needs no upload, else the surface now held by `surface`; null with a message.
  [[nodiscard]] const AVFrame* on_gpu(const AVFrame* frame, FramePtr& surface, std::string& error) const;
  [[nodiscard]] int upload(const AVFrame& frame, AVFrame& surface) const;

  BufferRefPtr surfaces_;
  std::unique_ptr<GpuYuvProcessor> processor_;
};

}  // namespace veyrin
