#include "bench/plane_cases.h"

#include "bench/harness.h"

namespace veyrin::bench {
namespace {

constexpr std::int32_t eye_size = 1920;

EyeMap make_border_map(float step) {
  constexpr std::int32_t rows = 256;
  const auto read = [step](std::int32_t row, std::int32_t first, std::int32_t count, float* map_x,
                           float* map_y) {
    for (std::int32_t i = 0; i < count; ++i) {
      const std::int32_t column = first + i;
      const float across = step * (-3.9F + 6.8F * static_cast<float>((7 * row + column) % rows) / rows);
      const float along = 8.0F + (eye_size - 24.0F) / eye_size * static_cast<float>(column);
      map_x[i] = row < rows / 2 ? along : across;
      map_y[i] = row < rows / 2 ? across : along;
    }
    return std::int64_t{count};
  };
  return {{eye_size, rows}, read};
}

void fill(cv::Mat& picture, const PlaneKind& kind, std::int32_t plane) {
  for (std::int32_t y = 0; y < picture.rows; ++y)
    for (std::int32_t x = 0; x < picture.cols * picture.channels(); ++x) {
      const auto sample = texture(x + 640 * plane, y, code_count(kind)) << shift(kind);
      if (picture.depth() == CV_8U)
        picture.ptr<std::uint8_t>(y)[x] = static_cast<std::uint8_t>(sample);
      else
        picture.ptr<std::uint16_t>(y)[x] = static_cast<std::uint16_t>(sample);
    }
}

}  // namespace

const EyeMap& inside_map(const PlaneKind& /*kind*/) {
  static const EyeMap built = fisheye_maps(eye_size).left;
  return built;
}

const EyeMap& border_map(const PlaneKind& kind) {
  static const EyeMap luma = make_border_map(1.0F);
  static const EyeMap chroma = make_border_map(2.0F);
  return is_luma(kind) ? luma : chroma;
}

Planes::Planes(const PlaneKind& kind, const EyeMap& map)
    : step(is_luma(kind) ? 1 : 2),
      source_size{eye_size / step, eye_size / step},
      output_size{map.size.width / step, map.size.height / step} {
  const int depth = kind.storage == SampleStorage::bits_8 ? CV_8U : CV_16U;
  const int type = CV_MAKETYPE(depth, channels_per_plane(kind));
  for (std::size_t plane = 0; plane < plane_count(kind); ++plane) {
    sources.emplace_back(source_size.height, source_size.width, type);
    outputs.emplace_back(output_size.height, output_size.width, type, cv::Scalar::all(0));
    fill(sources.back(), kind, static_cast<std::int32_t>(plane));
  }
}

}  // namespace veyrin::bench
