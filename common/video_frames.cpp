#include "common/video_frames.h"

namespace veyrin {
namespace {

constexpr int row_alignment_bytes = 32;

}  // namespace

FramePtr allocate_video_frame(AVPixelFormat format, int width, int height) {
  FramePtr frame(av_frame_alloc());
  if (!frame) return nullptr;
  frame->format = format;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), row_alignment_bytes) < 0) return nullptr;
  return frame;
}

}  // namespace veyrin
