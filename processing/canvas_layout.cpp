#include "processing/canvas_layout.h"

#include <algorithm>
#include <cstddef>

#include "common/error_text.h"

namespace veyrin {
namespace {

struct PlaneScale {
  std::int32_t divisor;  ///< luma samples per sample of the plane, each way
};

PlaneLayout plane_layout(const ProcessorGeometry& geometry, Size rectified, PlaneScale scale) {
  const std::int32_t divisor = scale.divisor;
  const std::int32_t width = canvas_size(geometry.layout, geometry.eye_box).width / divisor;
  const std::int32_t image_width = rectified.width / divisor;
  const std::int32_t pad = even_pad(geometry.eye_box.width, rectified.width) / divisor;
  const bool half = geometry.layout == OutputLayout::half_sbs;
  const std::int32_t step = half ? 2 : 1;

  PlaneLayout layout;
  layout.rows = geometry.eye_box.height / divisor;
  layout.first_image_row = even_pad(geometry.eye_box.height, rectified.height) / divisor;
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
  const std::int32_t eye_span = geometry.eye_box.width / step / divisor;
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

bool is_even(Size size) {
  return size.width % 2 == 0 && size.height % 2 == 0;
}

}  // namespace

ShownEyes shown_eyes(std::span<const OutputLayout> layouts) {
  ShownEyes shown{};
  for (const OutputLayout layout : layouts) {
    shown[static_cast<std::size_t>(Eye::left)] |= layout != OutputLayout::mono_right;
    shown[static_cast<std::size_t>(Eye::right)] |= layout != OutputLayout::mono_left;
  }
  return shown;
}

std::int32_t even_pad(std::int32_t box, std::int32_t image) {
  return (box - image) / 2 / 2 * 2;
}

PlaneLayout luma_layout(const ProcessorGeometry& geometry, Size rectified) {
  return plane_layout(geometry, rectified, {.divisor = 1});
}

PlaneLayout chroma_layout(const ProcessorGeometry& geometry, Size rectified) {
  return plane_layout(geometry, rectified, {.divisor = 2});
}

bool check_sizes(const std::array<Size, 2>& maps, const ProcessorGeometry& geometry,
                 const SizeMessages& messages, std::string& error) {
  const Size rectified = maps.front();
  if (rectified.width <= 0 || rectified.height <= 0 || maps.back() != rectified)
    return fail(error, messages.invalid_maps);
  if (!is_even(rectified) || !is_even(canvas_size(geometry.layout, geometry.eye_box)) ||
      !is_even(geometry.source) || !is_even(geometry.eye_box))
    return fail(error, messages.odd_size);
  if (geometry.eye_box.width < rectified.width || geometry.eye_box.height < rectified.height)
    return fail(error, messages.canvas_too_small);
  return true;
}

}  // namespace veyrin
