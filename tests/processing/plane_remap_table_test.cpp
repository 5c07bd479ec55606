#include "processing/plane_remap_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <vector>

#include "processing/kernels.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/oracle.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

constexpr float nan_value = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

/// A map that samples (x, y) everywhere.
StoredMap constant_map(float x, float y, int width = 2, int height = 2) {
  const auto entries = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  return {{width, height}, std::vector<float>(entries, x), std::vector<float>(entries, y)};
}

struct WholeAndPhase {
  int whole;
  int phase;
  bool operator==(const WholeAndPhase&) const = default;
};

std::ostream& operator<<(std::ostream& out, const WholeAndPhase& position) {
  return out << position.whole << " + " << position.phase << "/32";
}

WholeAndPhase split(std::int32_t steps) {
  return {steps >> phase_bits, steps & (phase_count - 1)};
}

WholeAndPhase luma_position(float value) {
  return split(luma_table(constant_map(value, 0.0F), {100, 100})->positions(0)[0].x);
}

WholeAndPhase chroma_position(float value) {
  return split(chroma_table(constant_map(value, 0.0F), {100, 100})->positions(0)[0].x);
}

TEST(PlaneRemapTable, SplitsLumaPositionsIntoIntegerAndPhase) {
  const struct {
    float value;
    WholeAndPhase expected;
  } cases[] = {
      {0.0F, {0, 0}},
      {7.0F, {7, 0}},
      {7.25F, {7, 8}},
      {7.0F + 0.49F / 32, {7, 0}},
      {7.0F + 0.5F / 32, {7, 1}},  // halves of a phase step round up
      {7.0F + 31.49F / 32, {7, 31}},
      {7.0F + 31.5F / 32, {8, 0}},  // rounds to 32: the next position's phase 0
      {7.999F, {8, 0}},
      {-0.25F, {-1, 24}},
      {-1.0F, {-1, 0}},
      {-0.001F, {0, 0}},
      {-0.0F, {0, 0}},
      {nan_value, {-1, 0}},
      {infinity, {-1, 0}},
      {-infinity, {-1, 0}},
  };
  for (const auto& [value, expected] : cases) EXPECT_EQ(luma_position(value), expected) << value;
}

TEST(PlaneRemapTable, HalvesPositionsForChroma) {
  const struct {
    float value;
    WholeAndPhase expected;
  } cases[] = {
      {14.0F, {7, 0}},      {15.0F, {7, 16}},    {14.5F, {7, 8}},
      {15.99F, {8, 0}},     {-1.0F, {-1, 16}},  // an invalid entry samples half a chroma sample outside
      {nan_value, {-1, 0}}, {infinity, {-1, 0}},
  };
  for (const auto& [value, expected] : cases) EXPECT_EQ(chroma_position(value), expected) << value;
}

TEST(PlaneRemapTable, KeepsHugePositionsFarOutside) {
  for (const float value : {1e9F, 3e9F, 1e38F, std::numeric_limits<float>::max()}) {
    EXPECT_GT(luma_position(value).whole, 1000000) << value;
    EXPECT_LT(luma_position(-value).whole, -1000000) << value;
  }
}

TEST(PlaneRemapTable, LumaReadsEveryEntryAndChromaEverySecond) {
  StoredMap map{{6, 4}, {}, {}};
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 6; ++x) {
      map.map_x.push_back(static_cast<float>(10 * x));
      map.map_y.push_back(static_cast<float>(10 * y));
    }
  const auto luma_owner = luma_table(map, {60, 40});
  const PlaneRemapTable& luma = *luma_owner;
  ASSERT_EQ(luma.width(), 6);
  ASSERT_EQ(luma.height(), 4);
  const auto chroma_owner = chroma_table(map, {60, 40});
  const PlaneRemapTable& chroma = *chroma_owner;
  ASSERT_EQ(chroma.width(), 3);
  ASSERT_EQ(chroma.height(), 2);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 6; ++x) {
      const RemapPosition position = luma.positions(y)[static_cast<std::size_t>(x)];
      EXPECT_EQ(position.x, 32 * 10 * x);
      EXPECT_EQ(position.y, 32 * 10 * y);
    }
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) {
      // Map entry (2y, 2x) holds 20y and 20x; at half scale 10y and 10x.
      const RemapPosition position = chroma.positions(y)[static_cast<std::size_t>(x)];
      EXPECT_EQ(position.x, 32 * 10 * x);
      EXPECT_EQ(position.y, 32 * 10 * y);
    }
}

Neighbourhood neighbourhood_at(float x, float y, Size source) {
  return luma_table(constant_map(x, y), source)->runs(0).front().neighbourhood;
}

TEST(PlaneRemapTable, TellsInsideBorderAndOutsideApart) {
  // Taps reach from 3 before to 4 after the integer position: 3..15 is inside in a plane 20 wide.
  const struct {
    float x;
    Neighbourhood expected;
  } cases[] = {
      {3.0F, Neighbourhood::inside},   {2.99F, Neighbourhood::inside},  // rounds to 3
      {2.9F, Neighbourhood::border},   {15.0F, Neighbourhood::inside},  {15.9F, Neighbourhood::inside},
      {16.0F, Neighbourhood::border},  {0.0F, Neighbourhood::border},   {19.0F, Neighbourhood::border},
      {20.0F, Neighbourhood::outside},  // phase 0 has a single tap
      {20.5F, Neighbourhood::border},  {22.9F, Neighbourhood::border},  {23.5F, Neighbourhood::outside},
      {-1.0F, Neighbourhood::outside}, {-0.5F, Neighbourhood::border},  {-3.9F, Neighbourhood::border},
      {-4.5F, Neighbourhood::outside}, {1e30F, Neighbourhood::outside}, {nan_value, Neighbourhood::outside},
  };
  for (const auto& [x, expected] : cases) {
    EXPECT_EQ(neighbourhood_at(x, 8.0F, {20, 20}), expected) << "x " << x;
    EXPECT_EQ(neighbourhood_at(8.0F, x, {20, 20}), expected) << "y " << x;
  }
}

TEST(PlaneRemapTable, HasNoInsideInPlanesSmallerThanTheKernel) {
  EXPECT_EQ(neighbourhood_at(3.0F, 3.0F, {8, 8}), Neighbourhood::inside);
  EXPECT_EQ(neighbourhood_at(3.0F, 3.0F, {7, 8}), Neighbourhood::border);
  EXPECT_EQ(neighbourhood_at(3.0F, 3.0F, {8, 7}), Neighbourhood::border);
}

TEST(PlaneRemapTable, RunsCoverEachRowAndSplitWhereTheNeighbourhoodChanges) {
  StoredMap map{{8, 2}, {}, {}};
  for (const float x : {-20.0F, -20.0F, 1.0F, 9.0F, 9.5F, 10.0F, 18.0F, 60.0F}) map.map_x.push_back(x);
  map.map_x.resize(16, 9.0F);
  map.map_y.assign(16, 9.0F);
  const auto table_owner = luma_table(map, {20, 20});
  const PlaneRemapTable& table = *table_owner;
  const std::pair<std::int32_t, Neighbourhood> expected[] = {{2, Neighbourhood::outside},
                                                             {3, Neighbourhood::border},
                                                             {6, Neighbourhood::inside},
                                                             {7, Neighbourhood::border},
                                                             {8, Neighbourhood::outside}};
  const auto runs = table.runs(0);
  ASSERT_EQ(runs.size(), std::size(expected));
  for (std::size_t run = 0; run < runs.size(); ++run) {
    EXPECT_EQ(runs[run].end, expected[run].first);
    EXPECT_EQ(runs[run].neighbourhood, expected[run].second);
  }
  ASSERT_EQ(table.runs(1).size(), 1U);
  EXPECT_EQ(table.runs(1).front().end, 8);
  EXPECT_EQ(table.runs(1).front().neighbourhood, Neighbourhood::inside);
}

}  // namespace
}  // namespace veyrin::test
