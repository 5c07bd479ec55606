// Where the rectified eyes land on the canvas, plane by plane.
#pragma once

#include <cstdint>
#include <vector>

#include "processing/plane_remap_table.h"
#include "processing/yuv_processor.h"

namespace veyrin {

enum class Eye : std::int32_t { left = 0, right = 1 };

/// The canvas columns of one eye in one plane.
struct EyeRegion {
  Eye eye = Eye::left;
  std::int32_t begin = 0;  ///< first canvas column
  std::int32_t end = 0;
  std::int32_t image_begin = 0;  ///< first canvas column that shows the rectified image
  std::int32_t image_end = 0;
  std::int32_t first_table_column = 0;  ///< table column of image_begin
};

struct PlaneLayout {
  std::int32_t rows = 0;
  std::int32_t first_image_row = 0;           ///< canvas row of table row 0
  std::int32_t table_columns_per_column = 1;  ///< 2 where the eyes are squeezed to half width
  std::vector<EyeRegion> eyes;                ///< from left to right, together the whole width
};

/// Luma samples from the edge of an eye box to the image that is centred in it; even, so that chroma follows.
std::int32_t even_pad(std::int32_t box, std::int32_t image);

/// Luma samples across the canvas.
std::int32_t canvas_width(const ProcessorGeometry& geometry);

/// Layouts of an image of `rectified` luma size, centred in each eye box with even pads.
PlaneLayout luma_layout(const ProcessorGeometry& geometry, Size rectified);
PlaneLayout chroma_layout(const ProcessorGeometry& geometry, Size rectified);

}  // namespace veyrin
