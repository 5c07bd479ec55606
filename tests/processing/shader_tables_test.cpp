#include "processing/d3d11/shader_tables.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "processing/kernels.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/oracle.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

constexpr float nan_value = std::numeric_limits<float>::quiet_NaN();

TEST(ShaderTables, SplitPositionsIntoWholesAndPhases) {
  const StoredMap map{{4, 2},
                      {0.0F, 2.5F, -0.25F, nan_value, 7.99F, 100.0F, -3.0F, 1.03125F},
                      {0.0F, 1.25F, 3.0F, 2.0F, 0.5F, -7.5F, 5.96875F, 1e30F}};
  const ShaderTable table = make_shader_table(*luma_table(map, {16, 16}));
  struct Entry {
    int x, y, phase_x, phase_y;
  };
  const Entry expected[] = {{0, 0, 0, 0},  {2, 1, 16, 8},    {-1, 3, 24, 0}, {-1, 2, 0, 0},
                            {8, 0, 0, 16}, {100, -8, 0, 16}, {-3, 5, 0, 31}};
  ASSERT_EQ(table.positions.size(), 8U);
  ASSERT_EQ(table.phases.size(), 8U);
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(table.positions[i].x, expected[i].x) << i;
    EXPECT_EQ(table.positions[i].y, expected[i].y) << i;
    EXPECT_EQ(table.phases[i], static_cast<std::uint32_t>(expected[i].phase_y * 32 + expected[i].phase_x))
        << i;
  }
  EXPECT_EQ(table.positions[7].x, 1);
  EXPECT_EQ(table.phases[7], 1U);
  EXPECT_GT(table.positions[7].y, 1000000) << "far outside stays far outside";
}

TEST(ShaderTables, OfChromaAreHalfTheSize) {
  const StoredMap map{{4, 2}, {0, 9, 3, 9, 9, 9, 9, 9}, {1, 9, 5, 9, 9, 9, 9, 9}};
  const ShaderTable table = make_shader_table(*chroma_table(map, {16, 16}));
  ASSERT_EQ(table.positions.size(), 2U);
  EXPECT_EQ(table.positions[1].x, 1);
  EXPECT_EQ(table.positions[1].y, 2);
  EXPECT_EQ(table.phases[1], 16U * 32U + 16U);
}

TEST(ShaderTables, HoldTheWeightsOfEveryPhasePair) {
  const std::vector<float> weights = make_shader_weights(make_lanczos_weights());
  ASSERT_EQ(weights.size(), 1024U * 64U);
  for (int phase_y = 0; phase_y < 32; ++phase_y)
    for (int phase_x = 0; phase_x < 32; ++phase_x)
      for (int row = 0; row < 8; ++row)
        for (int column = 0; column < 8; ++column) {
          const int index = (phase_y * 32 + phase_x) * 64 + row * 8 + column;
          EXPECT_NEAR(weights[static_cast<std::size_t>(index)],
                      oracle_weight(phase_y, row) * oracle_weight(phase_x, column), 1e-6);
        }
}

// What the shaders keep for themselves of the table.
TEST(ShaderTables, HoldTheWeightsOfOneAxisWhereTheOtherPhaseIsZero) {
  const LanczosWeights expected = make_lanczos_weights();
  const std::vector<float> weights = make_shader_weights(expected);
  for (int phase = 0; phase < 32; ++phase)
    for (int tap = 0; tap < 8; ++tap) {
      EXPECT_EQ(weights[static_cast<std::size_t>(phase * 64 + 3 * 8 + tap)], expected.taps[phase][tap]);
      EXPECT_EQ(weights[static_cast<std::size_t>(phase * 32 * 64 + tap * 8 + 3)], expected.taps[phase][tap]);
    }
}

}  // namespace
}  // namespace veyrin::test
