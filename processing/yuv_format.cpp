#include "processing/yuv_format.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace veyrin {

std::optional<YuvFormat> describe_yuv_format(int pixel_format) {
  switch (pixel_format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
      return YuvFormat{8, /*interleaved_chroma=*/false, SampleStorage::bits_8};
    case AV_PIX_FMT_NV12:
      return YuvFormat{8, /*interleaved_chroma=*/true, SampleStorage::bits_8};
    case AV_PIX_FMT_YUV420P10LE:
      return YuvFormat{10, /*interleaved_chroma=*/false, SampleStorage::bits_16};
    case AV_PIX_FMT_P010LE:
      return YuvFormat{10, /*interleaved_chroma=*/true, SampleStorage::bits_16_high};
    default:
      return std::nullopt;
  }
}

}  // namespace veyrin
