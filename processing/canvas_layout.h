// Where the rectified eyes land on the canvas, plane by plane, and which sizes a processor takes.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "media/video_types.h"
#include "processing/yuv_processor.h"

namespace veyrin {

enum class Eye : std::int32_t { left = 0, right = 1 };

/// Which eyes a movie shows; by Eye.
using ShownEyes = std::array<bool, 2>;

/// The eyes on the canvases of these layouts.
ShownEyes shown_eyes(std::span<const OutputLayout> layouts);

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

/// Samples, or pairs of them, of the chroma planes of a 4:2:0 picture of this luma size.
constexpr Size chroma_size(Size luma) {
  return {luma.width / 2, luma.height / 2};
}

/// Luma samples from the edge of an eye box to the image that is centred in it; even, so that chroma follows.
std::int32_t even_pad(std::int32_t box, std::int32_t image);

/// Layouts of an image of `rectified` luma size, centred in each eye box with even pads.
PlaneLayout luma_layout(const ProcessorGeometry& geometry, Size rectified);
PlaneLayout chroma_layout(const ProcessorGeometry& geometry, Size rectified);

/// What a processor says of maps and sizes that do not fit together.
struct SizeMessages {
  const char* invalid_maps;  ///< an eye's map is empty or unlike the other eye's
  const char* odd_size;
  const char* canvas_too_small;  ///< the eye box does not hold the rectified image
};

/// Tested before a processor is made for maps of these luma sizes, by Eye; false with the message of the
/// first problem in `error`, in the order of the record.
[[nodiscard]] bool check_sizes(const std::array<Size, 2>& maps, const ProcessorGeometry& geometry,
                               const SizeMessages& messages, std::string& error);

}  // namespace veyrin
