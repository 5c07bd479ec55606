#include "common/video_frames.h"

namespace veyrin {
namespace {

constexpr int row_alignment_bytes = 32;

}  // namespace

int allocate_frame_buffers(AVFrame& frame, AVPixelFormat format, int width, int height) {
  frame.format = format;
  frame.width = width;
  frame.height = height;
  return av_frame_get_buffer(&frame, row_alignment_bytes);
}

FramePtr allocate_video_frame(AVPixelFormat format, int width, int height) {
  FramePtr frame(av_frame_alloc());
  if (!frame || allocate_frame_buffers(*frame, format, width, height) < 0) return nullptr;
  return frame;
}

}  // namespace veyrin
