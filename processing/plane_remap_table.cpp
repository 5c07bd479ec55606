#include "processing/plane_remap_table.h"

#include <algorithm>
#include <cmath>

namespace veyrin {
namespace {

std::int32_t to_phase_steps(float value) {
  // Far outside every plane, yet small enough for the fixed-point position.
  constexpr float far_outside = 1 << 24;
  if (!std::isfinite(value)) value = -1.0F;
  value = std::clamp(value, -far_outside, far_outside);
  // Through integers: millions of calls of the library's floor and round would be felt at the start.
  const auto truncated = static_cast<std::int32_t>(value);
  const std::int32_t whole = static_cast<float>(truncated) > value ? truncated - 1 : truncated;
  const double phase = static_cast<double>(value - static_cast<float>(whole)) * phase_count;
  // A phase that rounds up to 32 carries into the integer position by itself.
  // The phase is never negative, so this rounds halves up.  NOLINTNEXTLINE(bugprone-incorrect-roundings)
  return whole * phase_count + static_cast<std::int32_t>(phase + 0.5);
}

Neighbourhood classify(std::int32_t steps, std::int32_t size) {
  const std::int32_t position = steps >> phase_bits;
  const std::int32_t first = position - lanczos_taps_before;
  if (first >= 0 && first + lanczos_taps <= size) return Neighbourhood::inside;
  // At phase 0 only the sample itself has a weight.
  const bool single = (steps & (phase_count - 1)) == 0;
  const std::int32_t first_weighted = single ? position : first;
  const std::int32_t last_weighted = single ? position : first + lanczos_taps - 1;
  return last_weighted < 0 || first_weighted >= size ? Neighbourhood::outside : Neighbourhood::border;
}

Neighbourhood classify(RemapPosition position, Size source) {
  return std::max(classify(position.x, source.width), classify(position.y, source.height));
}

}  // namespace

PlaneRemapTable PlaneRemapTable::for_luma(const EyeMap& map, Size source) {
  return {map, 1, source};
}

PlaneRemapTable PlaneRemapTable::for_chroma(const EyeMap& map, Size source) {
  return {map, 2, source};
}

PlaneRemapTable::PlaneRemapTable(const EyeMap& map, std::int32_t map_step, Size source)
    : width_(map.size.width / map_step), height_(map.size.height / map_step) {
  const float scale = 1.0F / static_cast<float>(map_step);
  positions_.reserve(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_));
  row_begins_.reserve(static_cast<std::size_t>(height_) + 1);
  for (std::int32_t row = 0; row < height_; ++row) {
    row_begins_.push_back(runs_.size());
    const std::size_t map_row = static_cast<std::size_t>(row) * map_step * map.size.width;
    for (std::int32_t column = 0; column < width_; ++column) {
      const std::size_t entry = map_row + static_cast<std::size_t>(column) * map_step;
      const RemapPosition position{to_phase_steps(scale * map.map_x[entry]),
                                   to_phase_steps(scale * map.map_y[entry])};
      positions_.push_back(position);
      const Neighbourhood neighbourhood = classify(position, source);
      if (column == 0 || runs_.back().neighbourhood != neighbourhood)
        runs_.push_back({column, neighbourhood});
      runs_.back().end = column + 1;
    }
  }
  row_begins_.push_back(runs_.size());
}

std::span<const RemapPosition> PlaneRemapTable::positions(std::int32_t row) const {
  return std::span(positions_)
      .subspan(static_cast<std::size_t>(row) * width_, static_cast<std::size_t>(width_));
}

std::span<const RemapRun> PlaneRemapTable::runs(std::int32_t row) const {
  const std::size_t begin = row_begins_[static_cast<std::size_t>(row)];
  return std::span(runs_).subspan(begin, row_begins_[static_cast<std::size_t>(row) + 1] - begin);
}

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
