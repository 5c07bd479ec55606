// Samples stretches of a remap table from source planes: fast kernels inside, fill values where taps fall
// outside.
#pragma once

#include <cstddef>
#include <cstdint>

#include "media/video_types.h"
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

}  // namespace veyrin
