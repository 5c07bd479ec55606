#include "processing/remap_tables.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace veyrin {
namespace {

// Map pixels worked out at a time; even, so that a piece begins where an entry of chroma does.
constexpr std::int32_t piece_columns = 1024;

/// One eye's tables while they are being filled.
struct EyeTables {
  const EyeMap& map;
  PlaneRemapTable& luma;
  PlaneRemapTable& chroma;
  bool shown;
  std::atomic<std::int64_t> valid_pixels{0};

  void fill_row(std::int32_t row) {
    float map_x[piece_columns];
    float map_y[piece_columns];
    std::int64_t valid = 0;
    for (std::int32_t first = 0; first < map.size.width; first += piece_columns) {
      const std::int32_t count = std::min(piece_columns, map.size.width - first);
      valid += map.read(row, first, count, map_x, map_y);
      if (!shown) continue;
      luma.fill(row, first, count, {map_x, map_y, 1, 1.0F});
      if (row % 2 == 0 && row / 2 < chroma.height())
        chroma.fill(row / 2, first / 2, count / 2, {map_x, map_y, 2, 0.5F});
    }
    valid_pixels += valid;
  }
};

bool has_pixels(const EyeMap& map) {
  return map.read && map.size.width > 0 && map.size.height > 0;
}

}  // namespace

std::shared_ptr<const RemapTables> build_remap_tables(const RectificationMaps& maps, Size source,
                                                      const ShownEyes& shown, CpuWorkerPool& pool) {
  auto tables = std::make_shared<RemapTables>();
  const std::array eyes{&maps.left, &maps.right};
  for (std::size_t eye = 0; eye < eyes.size(); ++eye) {
    const EyeMap& map = *eyes[eye];
    if (!has_pixels(map)) continue;
    tables->rectified[eye] = map.size;
    if (shown[eye]) {
      tables->luma[eye] = PlaneRemapTable(map.size, source);
      tables->chroma[eye] = PlaneRemapTable(chroma_size(map.size), chroma_size(source));
    }
    EyeTables filling{map, tables->luma[eye], tables->chroma[eye], shown[eye]};
    pool.run(map.size.height, [&filling](std::int32_t row) { filling.fill_row(row); });
    tables->valid_fractions[eye] =
        static_cast<double>(filling.valid_pixels) / (static_cast<double>(map.size.width) * map.size.height);
  }
  return tables;
}

}  // namespace veyrin
