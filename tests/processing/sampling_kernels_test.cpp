#include "processing/sampling_kernels.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/processing/sampling_kernels_fixture.h"

namespace veyrin::test {
namespace {

TEST_P(SamplingKernelsTest, MatchesDoublePrecisionInEveryPairOfPhases) {
  std::mt19937 random(1);
  TestPlane plane = make_plane(23, 19, 5);
  plane.fill_random(random);
  std::vector<RemapPosition> positions = random_positions(plane, 1024, random);
  for (int phases = 0; phases < 1024; ++phases) {
    RemapPosition& position = positions[static_cast<std::size_t>(phases)];
    position = {(position.x & ~31) + phases % 32, (position.y & ~31) + phases / 32};
  }
  expect_exact(plane, positions);
}

TEST_P(SamplingKernelsTest, TakesAnyCountAroundItsGroupsAndChunks) {
  std::mt19937 random(2);
  TestPlane plane = make_plane(40, 24, 1);
  plane.fill_random(random);
  std::vector<std::size_t> counts;
  for (std::size_t count = 0; count <= 200; ++count) counts.push_back(count);
  for (const std::size_t count : {255, 256, 257, 263, 300}) counts.push_back(count);
  for (const std::size_t count : counts) {
    SCOPED_TRACE(count);
    expect_exact(plane, random_positions(plane, count, random));
  }
}

TEST_P(SamplingKernelsTest, ReadsNothingBeyondTheFirstAndLastNeighbourhood) {
  std::mt19937 random(3);
  for (const int row_slack : {0, 1, 3, 64}) {
    TestPlane plane = make_plane(11, 9, row_slack);
    plane.fill_random(random);
    const std::int32_t right = (plane.width - 5) * 32;
    const std::int32_t bottom = (plane.height - 5) * 32;
    expect_exact(
        plane,
        {{3 * 32, 3 * 32}, {right + 31, 3 * 32 + 31}, {3 * 32 + 1, bottom + 31}, {right + 31, bottom + 31}});
  }
}

TEST_P(SamplingKernelsTest, WorksOnAPlaneOfOneNeighbourhood) {
  std::mt19937 random(4);
  TestPlane plane = make_plane(8, 8);
  plane.fill_random(random);
  expect_exact(plane, std::vector<RemapPosition>(17, {3 * 32 + 11, 3 * 32 + 29}));
}

TEST_P(SamplingKernelsTest, KeepsExtremeSamplesExact) {
  std::mt19937 random(5);
  TestPlane plane = make_plane(32, 32);
  const int maximum = plane.maximum();
  const auto positions = random_positions(plane, 200, random);
  plane.fill([&](int, int, int) { return maximum; });
  expect_exact(plane, positions);
  plane.fill([&](int x, int y, int) { return (x + y) % 2 * maximum; });
  expect_exact(plane, positions);
  plane.fill([&](int x, int, int channel) { return (x + channel) % 2 * maximum; });
  expect_exact(plane, positions);
  plane.fill([&](int x, int y, int) { return x / 4 % 2 == y / 4 % 2 ? maximum : 0; });
  expect_exact(plane, positions);
}

TEST_P(SamplingKernelsTest, ReproducesSamplesAtPhaseZeroBitByBit) {
  std::mt19937 random(6);
  TestPlane plane = make_plane(30, 20);
  plane.fill_random(random);
  std::vector<RemapPosition> positions = random_positions(plane, 64, random);
  for (RemapPosition& position : positions) position = {position.x & ~31, position.y & ~31};
  const auto values = sample(kernels(), plane, positions);
  for (int channel = 0; channel < plane.channels; ++channel)
    for (std::size_t i = 0; i < positions.size(); ++i)
      EXPECT_EQ(values[static_cast<std::size_t>(channel)][i],
                static_cast<float>(plane.get(positions[i].x / 32, positions[i].y / 32, channel)));
}

TEST_P(SamplingKernelsTest, FollowsANegativeStride) {
  std::mt19937 random(7);
  TestPlane upright = make_plane(20, 16, 2);
  upright.fill_random(random);
  TestPlane flipped = upright;
  flipped.fill([&](int x, int y, int channel) { return upright.get(x, upright.height - 1 - y, channel); });
  const auto positions = random_positions(upright, 50, random);
  const auto expected = sample(kernels(), upright, positions);

  const LanczosWeights weights = make_lanczos_weights();
  const std::uint8_t* last_row = &flipped.bytes[flipped.offset(0, flipped.height - 1, 0)];
  std::vector<std::vector<float>> values(2, std::vector<float>(positions.size()));
  const auto storage = static_cast<std::size_t>(flipped.storage);
  if (flipped.channels == 1)
    kernels().one[storage](positions.data(), positions.size(), last_row, -flipped.stride, weights,
                           values[0].data());
  else
    kernels().pair[storage](positions.data(), positions.size(), last_row, -flipped.stride, weights,
                            values[0].data(), values[1].data());
  for (std::size_t channel = 0; channel < expected.size(); ++channel)
    EXPECT_EQ(values[channel], expected[channel]);
}

class HighAlignedSamplesTest : public SamplingKernelsTest {};

TEST_P(HighAlignedSamplesTest, TakeTheBitsBelowAsFractions) {
  std::mt19937 random(8);
  TestPlane plane = make_plane(24, 12);
  plane.fill_random(random);
  const auto positions = random_positions(plane, 40, random);
  const auto clean = sample(kernels(), plane, positions);
  // Half a code more in every sample is half a code more in every sum.
  for (std::size_t low_byte = 0; low_byte < plane.bytes.size(); low_byte += 2)
    plane.bytes[low_byte] = static_cast<std::uint8_t>(plane.bytes[low_byte] | 0x20);
  const auto more = sample(kernels(), plane, positions);
  for (std::size_t channel = 0; channel < clean.size(); ++channel)
    for (std::size_t i = 0; i < positions.size(); ++i)
      EXPECT_NEAR(more[channel][i], clean[channel][i] + 0.5F, 1e-3F);
}

INSTANTIATE_TEST_SUITE_P(AllKernels, SamplingKernelsTest, all_sampling_cases(), sampling_case_name);

INSTANTIATE_TEST_SUITE_P(AllKernels, HighAlignedSamplesTest,
                         ::testing::Combine(::testing::ValuesIn(all_kernel_sets),
                                            ::testing::Values(SampleStorage::bits_16_high),
                                            ::testing::Values(1, 2)),
                         sampling_case_name);

}  // namespace
}  // namespace veyrin::test
