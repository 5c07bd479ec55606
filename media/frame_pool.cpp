#include "media/frame_pool.h"

#include <algorithm>
#include <utility>

namespace veyrin {

FramePtr FramePool::take() {
  const auto free = std::ranges::find_if(
      frames_, [](const FramePtr& frame) { return av_frame_is_writable(frame.get()) > 0; });
  if (free == frames_.end()) return allocate_video_frame(format_, size_, rows_);
  FramePtr frame = std::move(*free);
  frames_.erase(free);
  return frame;
}

}  // namespace veyrin
