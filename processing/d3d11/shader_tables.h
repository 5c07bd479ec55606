// The remap tables and weights as plain arrays for the shaders.
#pragma once

#include <cstdint>
#include <vector>

#include "processing/plane_remap_table.h"
#include "processing/sampling_kernels.h"

namespace veyrin {

/// Whole samples; two 32-bit integers to the shaders.
struct ShaderPosition {
  std::int32_t x;
  std::int32_t y;
};

/// One eye's table of one plane kind, one element per output sample, row after row.
struct ShaderTable {
  std::vector<ShaderPosition> positions;
  std::vector<std::uint32_t> phases;  ///< row phase * 32 + column phase
};

ShaderTable make_shader_table(const PlaneRemapTable& table);

/// 64 weights, row after row of the 8x8 neighbourhood, for each of the 1024 phases.
std::vector<float> make_shader_weights(const LanczosWeights& weights);

}  // namespace veyrin
