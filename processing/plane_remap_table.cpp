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

PlaneRemapTable::PlaneRemapTable(Size size, Size source)
    : width_(std::max(size.width, 0)), height_(std::max(size.height, 0)), source_(source) {
  positions_ = std::make_unique_for_overwrite<RemapPosition[]>(static_cast<std::size_t>(width_) *
                                                               static_cast<std::size_t>(height_));
  runs_.resize(static_cast<std::size_t>(height_));
}

void PlaneRemapTable::fill(std::int32_t row, std::int32_t first, std::int32_t count, const MapPiece& piece) {
  RemapPosition* positions = &positions_[static_cast<std::size_t>(row) * width_ + first];
  std::vector<RemapRun>& runs = runs_[static_cast<std::size_t>(row)];
  for (std::int32_t i = 0; i < count; ++i) {
    const std::ptrdiff_t entry = std::ptrdiff_t{i} * piece.step;
    const RemapPosition position{to_phase_steps(piece.scale * piece.map_x[entry]),
                                 to_phase_steps(piece.scale * piece.map_y[entry])};
    positions[i] = position;
    const Neighbourhood neighbourhood = classify(position, source_);
    if (runs.empty() || runs.back().neighbourhood != neighbourhood) runs.push_back({0, neighbourhood});
    runs.back().end = first + i + 1;
  }
}

std::span<const RemapPosition> PlaneRemapTable::positions(std::int32_t row) const {
  return {&positions_[static_cast<std::size_t>(row) * width_], static_cast<std::size_t>(width_)};
}

std::span<const RemapRun> PlaneRemapTable::runs(std::int32_t row) const {
  return runs_[static_cast<std::size_t>(row)];
}

}  // namespace veyrin
