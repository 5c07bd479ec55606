// One plane's remap table: fixed-point positions, ready to be streamed row by row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "media/video_types.h"
#include "processing/sampling_kernels.h"

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

/// Filled once and then only read, by all workers. Eight bytes per output sample, plus a few runs per row.
class PlaneRemapTable {
 public:
  /// A table without entries.
  PlaneRemapTable() = default;
  /// A table of `size` entries whose rows are still to be filled, over a source plane of that size. Its
  /// memory is first touched by whoever fills a row.
  PlaneRemapTable(Size size, Size source);

  /// Fills the entries of a row from column `first` on: entry i with the position in the source plane that is
  /// `scale` times (map_x[i * step], map_y[i * step]). A row is filled from left to right; different rows may
  /// be filled by different threads.
  struct MapPiece {
    const float* map_x;
    const float* map_y;
    std::int32_t step;
    float scale;
  };
  void fill(std::int32_t row, std::int32_t first, std::int32_t count, const MapPiece& piece);

  [[nodiscard]] std::int32_t width() const { return width_; }
  [[nodiscard]] std::int32_t height() const { return height_; }
  [[nodiscard]] std::span<const RemapPosition> positions(std::int32_t row) const;
  /// The runs of a row from left to right; the last one ends at the width.
  [[nodiscard]] std::span<const RemapRun> runs(std::int32_t row) const;

 private:
  std::int32_t width_ = 0;
  std::int32_t height_ = 0;
  Size source_;
  std::unique_ptr<RemapPosition[]> positions_;
  std::vector<std::vector<RemapRun>> runs_;  ///< of each row
};

}  // namespace veyrin
