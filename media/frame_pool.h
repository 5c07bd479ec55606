// Video frames that are used again and again.
#pragma once

#include <utility>
#include <vector>

#include "media/ffmpeg.h"
#include "media/video_types.h"

namespace veyrin {

/// Frames of one format and size. Encoders look at a frame for some time after they were given it; a frame
/// comes back into use when nobody else holds its buffers, so that pictures are never copied and there are no
/// more frames than the encoder needs.
class FramePool {
 public:
  FramePool(AVPixelFormat format, Size size, RowLayout rows) : format_(format), size_(size), rows_(rows) {}

  /// A frame with buffers of its own and any content; null when memory is short.
  [[nodiscard]] FramePtr take();

  /// Takes a frame back whose buffers others may still hold.
  void give_back(FramePtr frame) { frames_.push_back(std::move(frame)); }

 private:
  AVPixelFormat format_;
  Size size_;
  RowLayout rows_;
  std::vector<FramePtr> frames_;
};

}  // namespace veyrin
