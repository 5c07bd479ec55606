#include "processing/remap_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "tests/processing/random_maps.h"

namespace veyrin::test {
namespace {

std::vector<RemapPosition> positions_of(const PlaneRemapTable& table) {
  std::vector<RemapPosition> positions;
  for (std::int32_t row = 0; row < table.height(); ++row)
    positions.insert(positions.end(), table.positions(row).begin(), table.positions(row).end());
  return positions;
}

bool same_positions(const PlaneRemapTable& a, const PlaneRemapTable& b) {
  return std::ranges::equal(
      positions_of(a), positions_of(b),
      [](const RemapPosition& p, const RemapPosition& q) { return p.x == q.x && p.y == q.y; });
}

TEST(RemapTables, AreTheSameForAnyNumberOfWorkers) {
  // Wider than what is worked out at a time, and of no even share of it.
  const StoredMaps maps = random_maps({2502, 37}, {300, 40}, 3);
  CpuWorkerPool one(1);
  const auto expected = build_remap_tables(maps, {300, 40}, {true, true}, one);
  for (const std::int32_t workers : {2, 5, 16}) {
    CpuWorkerPool pool(workers);
    const auto tables = build_remap_tables(maps, {300, 40}, {true, true}, pool);
    for (std::size_t eye = 0; eye < 2; ++eye) {
      EXPECT_TRUE(same_positions(tables->luma[eye], expected->luma[eye]));
      EXPECT_TRUE(same_positions(tables->chroma[eye], expected->chroma[eye]));
      EXPECT_EQ(tables->valid_fractions[eye], expected->valid_fractions[eye]);
      for (std::int32_t row = 0; row < 37; ++row)
        EXPECT_EQ(tables->luma[eye].runs(row).size(), expected->luma[eye].runs(row).size());
    }
  }
}

TEST(RemapTables, OfAnEyeThatNobodyShowsAreEmptyButItsShareIsKnown) {
  StoredMaps maps = random_maps({40, 20}, {60, 60}, 4);
  maps.right.map_x.assign(maps.right.map_x.size(), -1.0F);
  for (std::size_t i = 0; i < 200; ++i) maps.right.map_x[i] = 5.0F;
  CpuWorkerPool pool(2);
  const auto tables = build_remap_tables(maps, {60, 60}, {true, false}, pool);
  EXPECT_EQ(tables->luma[0].width(), 40);
  EXPECT_EQ(tables->chroma[0].height(), 10);
  EXPECT_EQ(tables->luma[1].height(), 0);
  EXPECT_EQ(tables->chroma[1].width(), 0);
  EXPECT_EQ(tables->rectified[1], (Size{40, 20}));
  EXPECT_EQ(tables->valid_fractions[1], 0.25);
}

TEST(RemapTables, OfMapsThatWereNeverBuiltHaveNoSize) {
  CpuWorkerPool pool(1);
  const auto tables = build_remap_tables({}, {60, 60}, {true, true}, pool);
  EXPECT_EQ(tables->rectified[0], Size{});
  EXPECT_EQ(tables->luma[0].height(), 0);
}

TEST(RemapTables, HaveNoEntryForAnOddLastRowOrColumnOfChroma) {
  CpuWorkerPool pool(2);
  const auto tables = build_remap_tables(identity_maps({7, 5}), {20, 20}, {true, true}, pool);
  EXPECT_EQ(tables->luma[0].width(), 7);
  EXPECT_EQ(tables->chroma[0].width(), 3);
  EXPECT_EQ(tables->chroma[0].height(), 2);
  EXPECT_EQ(tables->chroma[0].positions(1)[2].x, 2 * phase_count);
  EXPECT_EQ(tables->chroma[0].runs(1).back().end, 3);
}

TEST(RemapTables, ReportAFailedMap) {
  const EyeMap failing{{16, 16},
                       [](std::int32_t row, std::int32_t, std::int32_t, float*, float*) -> std::int64_t {
                         if (row == 9) throw std::runtime_error("row");
                         return 0;
                       }};
  CpuWorkerPool pool(3);
  EXPECT_THROW(static_cast<void>(build_remap_tables({failing, failing}, {16, 16}, {true, true}, pool)),
               std::runtime_error);
}

}  // namespace
}  // namespace veyrin::test
