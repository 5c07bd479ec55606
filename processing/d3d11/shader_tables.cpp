#include "processing/d3d11/shader_tables.h"

#include <cstddef>

namespace veyrin {

ShaderTable make_shader_table(const PlaneRemapTable& table) {
  constexpr std::int32_t phase_mask = phase_count - 1;
  ShaderTable shader;
  const std::size_t entries =
      static_cast<std::size_t>(table.width()) * static_cast<std::size_t>(table.height());
  shader.positions.reserve(entries);
  shader.phases.reserve(entries);
  for (std::int32_t row = 0; row < table.height(); ++row)
    for (const RemapPosition& position : table.positions(row)) {
      shader.positions.push_back({position.x >> phase_bits, position.y >> phase_bits});
      shader.phases.push_back(
          static_cast<std::uint32_t>((position.y & phase_mask) * phase_count + (position.x & phase_mask)));
    }
  return shader;
}

std::vector<float> make_shader_weights(const LanczosWeights& weights) {
  std::vector<float> products;
  products.reserve(std::size_t{phase_count} * phase_count * lanczos_taps * lanczos_taps);
  for (const auto& rows : weights.taps)
    for (const auto& columns : weights.taps)
      for (const float row : rows)
        for (const float column : columns) products.push_back(row * column);
  return products;
}

}  // namespace veyrin
