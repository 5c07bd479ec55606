// One plane's remap table: an eye's float map turned into fixed-point positions, ready to be streamed row by
// row, and the same as plain arrays for the shaders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "media/video_types.h"
#include "processing/sampling_kernels.h"
#include "rectification/rectification_maps.h"

namespace veyrin {

/// Where the 8x8 neighbourhood of a position lies.
enum class Neighbourhood : std::int32_t {
  inside,   ///< wholly inside the source plane
  border,   ///< partly outside
  outside,  ///< no tap with a weight is inside
};

/// Adjacent columns of a table row whose neighbourhoods lie the same way; begins at the end of the run
/// before.
struct RemapRun {
  std::int32_t end;
  Neighbourhood neighbourhood;
};

/// Immutable once built; shared by all workers. Eight bytes per output sample, plus a few runs per row.
class PlaneRemapTable {
 public:
  /// A table without entries.
  PlaneRemapTable() = default;
  /// One entry per map entry; `source` is the luma plane's size.
  static PlaneRemapTable for_luma(const EyeMap& map, Size source);
  /// One entry per second row and column of the map, positions halved; `source` is the chroma plane's size.
  static PlaneRemapTable for_chroma(const EyeMap& map, Size source);

  [[nodiscard]] std::int32_t width() const { return width_; }
  [[nodiscard]] std::int32_t height() const { return height_; }
  [[nodiscard]] std::span<const RemapPosition> positions(std::int32_t row) const;
  /// The runs of a row from left to right; the last one ends at the width.
  [[nodiscard]] std::span<const RemapRun> runs(std::int32_t row) const;

 private:
  PlaneRemapTable(const EyeMap& map, std::int32_t map_step, Size source);

  std::int32_t width_ = 0;
  std::int32_t height_ = 0;
  std::vector<RemapPosition> positions_;
  std::vector<RemapRun> runs_;
  std::vector<std::size_t> row_begins_;  ///< first run of each row, and the end
};

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
