#include "tests/simulated_nvenc/picture_source.h"

#include <algorithm>
#include <cstring>

namespace veyrin::simulated_nvenc {
namespace {

constexpr unsigned unused_low_bits = 6;  // 10-bit samples come in the high bits of words

std::size_t chroma(int size) {
  return static_cast<std::size_t>(size + 1) / 2;
}

/// Every `step`-th sample of the rows, from the `first` on.
template <typename Sample>
std::vector<std::uint8_t> gather(std::span<const std::uint8_t> rows, std::size_t pitch, std::size_t width,
                                 std::size_t height, std::size_t first, std::size_t step) {
  std::vector<std::uint8_t> plane(width * height * sizeof(Sample));
  auto target = plane.begin();
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      Sample sample = 0;
      std::memcpy(&sample, &rows[y * pitch + (first + x * step) * sizeof sample], sizeof sample);
      if constexpr (sizeof(Sample) == 2) sample = static_cast<Sample>(sample >> unused_low_bits);
      std::memcpy(&*target, &sample, sizeof sample);
      target += sizeof sample;
    }
  }
  return plane;
}

}  // namespace

int bit_depth(NV_ENC_BUFFER_FORMAT format) {
  switch (format) {
    case NV_ENC_BUFFER_FORMAT_NV12:
    case NV_ENC_BUFFER_FORMAT_YV12:
    case NV_ENC_BUFFER_FORMAT_IYUV:
      return 8;
    case NV_ENC_BUFFER_FORMAT_YUV420_10BIT:
      return 10;
    default:
      return 0;
  }
}

Planes separate_planes(const PictureLayout& layout, std::span<const std::uint8_t> rows, std::size_t pitch) {
  const auto luma_width = static_cast<std::size_t>(layout.width);
  const auto luma_height = static_cast<std::size_t>(layout.height);
  const std::size_t chroma_width = chroma(layout.width);
  const std::size_t chroma_height = chroma(layout.height);
  const auto behind_luma = rows.subspan(pitch * luma_height);
  Planes planes;
  planes.bit_depth = bit_depth(layout.format);
  const auto take = [&]<typename Sample>(Sample) {
    planes.samples[0] = gather<Sample>(rows, pitch, luma_width, luma_height, 0, 1);
    if (layout.format == NV_ENC_BUFFER_FORMAT_YV12 || layout.format == NV_ENC_BUFFER_FORMAT_IYUV) {
      const auto second = behind_luma.subspan(pitch / 2 * chroma_height);
      planes.samples[1] = gather<Sample>(behind_luma, pitch / 2, chroma_width, chroma_height, 0, 1);
      planes.samples[2] = gather<Sample>(second, pitch / 2, chroma_width, chroma_height, 0, 1);
      if (layout.format == NV_ENC_BUFFER_FORMAT_YV12) std::swap(planes.samples[1], planes.samples[2]);
    } else {
      planes.samples[1] = gather<Sample>(behind_luma, pitch, chroma_width, chroma_height, 0, 2);
      planes.samples[2] = gather<Sample>(behind_luma, pitch, chroma_width, chroma_height, 1, 2);
    }
    planes.stride = {luma_width * sizeof(Sample), chroma_width * sizeof(Sample),
                     chroma_width * sizeof(Sample)};
  };
  if (planes.bit_depth == 10) {
    take(std::uint16_t{});
  } else {
    take(std::uint8_t{});
  }
  return planes;
}

}  // namespace veyrin::simulated_nvenc
