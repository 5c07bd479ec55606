#include "processing/canvas_layout.h"

#include <algorithm>

namespace veyrin {
namespace {

struct PlaneScale {
  std::int32_t divisor;  ///< luma samples per sample of the plane, each way
};

PlaneLayout plane_layout(const ProcessorGeometry& geometry, Size rectified, PlaneScale scale) {
  const std::int32_t divisor = scale.divisor;
  const std::int32_t width = canvas_width(geometry) / divisor;
  const std::int32_t image_width = rectified.width / divisor;
  const std::int32_t pad = even_pad(geometry.eye_box_width, rectified.width) / divisor;
  const bool half = geometry.layout == OutputLayout::half_sbs;
  const std::int32_t step = half ? 2 : 1;

  PlaneLayout layout;
  layout.rows = geometry.eye_box_height / divisor;
  layout.first_image_row = even_pad(geometry.eye_box_height, rectified.height) / divisor;
  layout.table_columns_per_column = step;

  const auto add_eye = [&](Eye eye, std::int32_t begin, std::int32_t end) {
    const auto first_column_at_or_after = [step](std::int32_t table_column) {
      return (table_column + step - 1) / step;
    };
    const std::int32_t first = first_column_at_or_after(pad);
    EyeRegion region{eye, begin, end, 0, 0, step * first - pad};
    region.image_begin = std::min(begin + first, end);
    region.image_end = std::min(begin + first_column_at_or_after(pad + image_width), end);
    layout.eyes.push_back(region);
  };
  const std::int32_t eye_span = geometry.eye_box_width / step / divisor;
  switch (geometry.layout) {
    case OutputLayout::mono_left:
      add_eye(Eye::left, 0, width);
      break;
    case OutputLayout::mono_right:
      add_eye(Eye::right, 0, width);
      break;
    case OutputLayout::full_sbs:
    case OutputLayout::half_sbs:
      add_eye(Eye::left, 0, eye_span);
      add_eye(Eye::right, eye_span, width);
      break;
  }
  return layout;
}

}  // namespace

std::int32_t even_pad(std::int32_t box, std::int32_t image) {
  return (box - image) / 2 / 2 * 2;
}

std::int32_t canvas_width(const ProcessorGeometry& geometry) {
  return geometry.layout == OutputLayout::full_sbs ? 2 * geometry.eye_box_width : geometry.eye_box_width;
}

PlaneLayout luma_layout(const ProcessorGeometry& geometry, Size rectified) {
  return plane_layout(geometry, rectified, {.divisor = 1});
}

PlaneLayout chroma_layout(const ProcessorGeometry& geometry, Size rectified) {
  return plane_layout(geometry, rectified, {.divisor = 2});
}

}  // namespace veyrin
