// Writes one plane kind (luma, or both chroma channels) of the canvas, row by row, from samples of the source
// planes: fast kernels inside, fill values where taps fall outside.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "media/video_types.h"
#include "processing/canvas_layout.h"
#include "processing/kernels.h"
#include "processing/plane_remap_table.h"

namespace veyrin {

/// One source plane of a frame, borrowed.
struct PlaneView {
  const std::uint8_t* data = nullptr;
  std::ptrdiff_t stride = 0;  ///< bytes from row to row
  Size size;                  ///< in samples, or in pairs for an interleaved plane
  SampleStorage storage = SampleStorage::bits_8;
};

/// The kernels and weights that sampling works with.
struct SamplingTools {
  Kernels kernels;
  const LanczosWeights& weights;
};

/// Samples the table entries [first, first + count) of a row into out[0, count). A tap outside the plane
/// contributes `fill` times its weight.
void sample_one(const SamplingTools& tools, const PlaneRemapTable& table, std::int32_t row,
                std::int32_t first, std::int32_t count, const PlaneView& plane, float fill, float* out);

/// The same for both halves of a plane of interleaved pairs.
void sample_pair(const SamplingTools& tools, const PlaneRemapTable& table, std::int32_t row,
                 std::int32_t first, std::int32_t count, const PlaneView& plane, float fill, float* out_first,
                 float* out_second);

/// The input of one eye. Planar chroma uses both planes, luma and interleaved chroma the first one
/// only.
struct EyeSource {
  const PlaneRemapTable* table = nullptr;
  std::array<PlaneView, 2> planes;
};

/// The canvas planes of a pass, borrowed. Planar chroma uses both, luma and interleaved chroma the first one
/// only.
struct CanvasPlanes {
  std::array<std::uint8_t*, 2> data{};
  std::array<std::ptrdiff_t, 2> strides{};  ///< bytes from row to row
};

enum class ChannelLayout : std::int32_t { single, planar_pair, interleaved_pair };

struct PlanePass {
  SamplingTools tools;
  const PlaneLayout& layout;
  std::array<EyeSource, 2> eyes{};  ///< by Eye; only those of the layout are read
  ChannelLayout source_channels = ChannelLayout::single;
  CanvasPlanes canvas{};
  ChannelLayout canvas_channels = ChannelLayout::single;
  std::int32_t bytes_per_code = 1;
  StoreRule store{};
  float fill = 0.0F;  ///< value around the image and of taps outside the source

  /// Writes one canvas row. Rows are independent: any number of threads may write different ones.
  void write_row(std::int32_t row) const;

 private:
  void write_image(const EyeRegion& region, std::int32_t row, std::int32_t table_row) const;
  void write_fill(std::int32_t row, std::int32_t begin, std::int32_t end) const;
  void store_samples(std::int32_t row, std::int32_t column, std::int32_t count, const float* first,
                     const float* second) const;
  [[nodiscard]] std::uint8_t* canvas_at(std::size_t plane, std::int32_t row, std::int32_t column) const;
};

}  // namespace veyrin
