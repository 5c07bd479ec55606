#include "media/raw_picture.h"

#include <cstdint>

extern "C" {
#include <libavutil/frame.h>
}

namespace veyrin {
namespace {

/// What is sent of a plane.
struct PlaneExtent {
  std::size_t row_bytes;
  std::int32_t rows;
};

PlaneExtent plane_extent(int format, int plane, Size size) {
  const std::int32_t rows = plane == 0 ? size.height : size.height / 2;
  if (format == AV_PIX_FMT_P010LE) return {static_cast<std::size_t>(size.width) * 2, rows};
  return {static_cast<std::size_t>(plane == 0 ? size.width : size.width / 2), rows};
}

/// A plane whose rows follow each other without a gap is one piece, any other one a piece for each row.
void append_plane(const std::uint8_t* plane, std::ptrdiff_t stride, PlaneExtent extent, BytePieces& pieces) {
  if (stride == static_cast<std::ptrdiff_t>(extent.row_bytes))
    extent = {extent.row_bytes * static_cast<std::size_t>(extent.rows), 1};
  for (std::int32_t y = 0; y < extent.rows; ++y)
    pieces.push_back(std::as_bytes(std::span(plane + y * stride, extent.row_bytes)));
}

}  // namespace

AVPixelFormat raw_picture_format(BitDepth depth) {
  return depth == BitDepth::ten ? AV_PIX_FMT_P010LE : AV_PIX_FMT_YUV420P;
}

int raw_plane_count(int pixel_format) {
  if (pixel_format == AV_PIX_FMT_P010LE) return 2;
  return pixel_format == AV_PIX_FMT_YUV420P ? 3 : 0;
}

void append_raw_picture(const AVFrame& frame, Size size, BytePieces& pieces) {
  for (int plane = 0; plane < raw_plane_count(frame.format); ++plane)
    append_plane(frame.data[plane], frame.linesize[plane], plane_extent(frame.format, plane, size), pieces);
}

}  // namespace veyrin
