#include "media/ffmpeg.h"

#include <array>

#include "common/error_text.h"
#include "common/platform/files.h"

extern "C" {
#include <libavutil/error.h>
}

namespace veyrin {
namespace {

constexpr int row_alignment_bytes = 32;

}  // namespace

std::string library_error_text(int code) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  return text.data();
}

std::string with_library_error(std::string_view message, int code) {
  return std::string(message) + ": " + library_error_text(code);
}

bool fail_with_library_error(std::string& error, std::string_view message, int code) {
  return fail(error, with_library_error(message, code));
}

std::string media_url(const std::filesystem::path& path) {
  return "file:" + platform::path_to_utf8(path);
}

int allocate_frame_buffers(AVFrame& frame, AVPixelFormat format, Size size, RowLayout rows) {
  frame.format = format;
  frame.width = size.width;
  frame.height = size.height;
  return av_frame_get_buffer(&frame, rows == RowLayout::aligned ? row_alignment_bytes : 1);
}

FramePtr allocate_video_frame(AVPixelFormat format, Size size, RowLayout rows) {
  FramePtr frame(av_frame_alloc());
  if (!frame || allocate_frame_buffers(*frame, format, size, rows) < 0) return nullptr;
  return frame;
}

}  // namespace veyrin
