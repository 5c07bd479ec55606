#include "processing/sampling_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "processing/kernels.h"
#include "tests/processing/oracle.h"

namespace veyrin::test {
namespace {

enum class Set { scalar, avx2 };

/// A plane in memory of exactly its size, so that the address sanitizer sees any stray read.
struct TestPlane {
  [[nodiscard]] int maximum() const { return storage == SampleStorage::bits_8 ? 255 : 1023; }
  [[nodiscard]] std::size_t offset(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t channel) const {
    return static_cast<std::size_t>(y * stride + (x * channels + channel) * bytes_per_sample);
  }
  void set(int x, int y, int channel, int value) {
    if (bytes_per_sample == 1) {
      bytes[offset(x, y, channel)] = static_cast<std::uint8_t>(value);
      return;
    }
    const auto word = static_cast<std::uint16_t>(storage == SampleStorage::bits_16_high ? value << 6 : value);
    std::memcpy(&bytes[offset(x, y, channel)], &word, 2);
  }
  [[nodiscard]] int get(int x, int y, int channel) const {
    if (bytes_per_sample == 1) return bytes[offset(x, y, channel)];
    std::uint16_t word = 0;
    std::memcpy(&word, &bytes[offset(x, y, channel)], 2);
    return storage == SampleStorage::bits_16_high ? word >> 6 : word;
  }
  template <typename Value>
  void fill(const Value& value) {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        for (int channel = 0; channel < channels; ++channel) set(x, y, channel, value(x, y, channel));
  }

  SampleStorage storage = SampleStorage::bits_8;
  int channels = 1;
  int width = 0;
  int height = 0;
  int bytes_per_sample = 1;
  std::ptrdiff_t stride = 0;
  std::vector<std::uint8_t> bytes;
};

TestPlane make_test_plane(SampleStorage storage, int channels, int width, int height, int row_slack) {
  TestPlane plane{.storage = storage, .channels = channels, .width = width, .height = height, .bytes = {}};
  plane.bytes_per_sample = storage == SampleStorage::bits_8 ? 1 : 2;
  const std::ptrdiff_t row_bytes = static_cast<std::ptrdiff_t>(width) * channels * plane.bytes_per_sample;
  plane.stride = row_bytes + row_slack;
  plane.bytes.resize(static_cast<std::size_t>(plane.stride * (height - 1) + row_bytes));
  return plane;
}

double exact_sum(const TestPlane& plane, RemapPosition position, int channel) {
  const int left = (position.x >> phase_bits) - 3;
  const int top = (position.y >> phase_bits) - 3;
  double sum = 0.0;
  for (int ky = 0; ky < 8; ++ky)
    for (int kx = 0; kx < 8; ++kx)
      sum += plane.get(left + kx, top + ky, channel) * oracle_weight(position.x & 31, kx) *
             oracle_weight(position.y & 31, ky);
  return sum;
}

/// Values of both channels (one for a single one), sampled with poisoned room around them.
std::vector<std::vector<float>> sample(const SamplingKernels& kernels, const TestPlane& plane,
                                       const std::vector<RemapPosition>& positions) {
  static const LanczosWeights weights = make_lanczos_weights();
  constexpr float poison = -12345.0F;
  constexpr std::size_t guard = 16;
  std::vector<std::vector<float>> guarded(static_cast<std::size_t>(plane.channels),
                                          std::vector<float>(positions.size() + 2 * guard, poison));
  const auto storage = static_cast<std::size_t>(plane.storage);
  if (plane.channels == 1)
    kernels.one[storage](positions.data(), positions.size(), plane.bytes.data(), plane.stride, weights,
                         guarded[0].data() + guard);
  else
    kernels.pair[storage](positions.data(), positions.size(), plane.bytes.data(), plane.stride, weights,
                          guarded[0].data() + guard, guarded[1].data() + guard);
  std::vector<std::vector<float>> values;
  for (const std::vector<float>& channel : guarded) {
    for (std::size_t i = 0; i < guard; ++i) {
      EXPECT_EQ(channel[i], poison) << "written before the first value";
      EXPECT_EQ(channel[channel.size() - 1 - i], poison) << "written behind the last value";
    }
    values.emplace_back(channel.begin() + guard, channel.end() - guard);
  }
  return values;
}

using Case = std::tuple<Set, SampleStorage, int>;

class SamplingKernelsTest : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    if (std::get<Set>(GetParam()) == Set::avx2 &&
        &choose_kernels(KernelChoice::best_for_cpu).sampling != &avx2_sampling)
      GTEST_SKIP() << "this CPU has no AVX2";
  }

  [[nodiscard]] const SamplingKernels& kernels() const {
    return std::get<Set>(GetParam()) == Set::avx2 ? avx2_sampling : scalar_sampling;
  }

  [[nodiscard]] TestPlane make_plane(int width, int height, int row_slack = 0) const {
    return make_test_plane(std::get<SampleStorage>(GetParam()), std::get<int>(GetParam()), width, height,
                           row_slack);
  }

  void expect_exact(const TestPlane& plane, const std::vector<RemapPosition>& positions) const {
    const auto values = sample(kernels(), plane, positions);
    // The products of both weights' absolute values add up to less than 2.6, and a value passes through fewer
    // than 12 roundings to 24 bits.
    const double bound = plane.maximum() * 2.6 * 12 * std::ldexp(1.0, -24);
    double largest_error = 0.0;
    for (int channel = 0; channel < plane.channels; ++channel)
      for (std::size_t i = 0; i < positions.size(); ++i) {
        const double exact = exact_sum(plane, positions[i], channel);
        const double error =
            std::abs(static_cast<double>(values[static_cast<std::size_t>(channel)][i]) - exact);
        largest_error = std::max(largest_error, error);
        ASSERT_LE(error, bound) << "position " << i << " (" << positions[i].x << ", " << positions[i].y
                                << ")/32, channel " << channel << ": exact " << exact;
      }
    RecordProperty("largest_error", std::to_string(largest_error));
  }
};

/// Positions all over the inside of a plane.
std::vector<RemapPosition> random_positions(const TestPlane& plane, std::size_t count, std::mt19937& random) {
  std::uniform_int_distribution<std::int32_t> x(3 * 32, (plane.width - 4) * 32 - 1);
  std::uniform_int_distribution<std::int32_t> y(3 * 32, (plane.height - 4) * 32 - 1);
  std::vector<RemapPosition> positions(count);
  for (RemapPosition& position : positions) position = {x(random), y(random)};
  return positions;
}

void fill_random(TestPlane& plane, std::mt19937& random) {
  std::uniform_int_distribution<int> code(0, plane.maximum());
  plane.fill([&](int, int, int) { return code(random); });
}

TEST_P(SamplingKernelsTest, MatchesDoublePrecisionInEveryPairOfPhases) {
  std::mt19937 random(1);
  TestPlane plane = make_plane(23, 19, 5);
  fill_random(plane, random);
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
  fill_random(plane, random);
  std::vector<std::size_t> counts;
  for (std::size_t count = 0; count <= 33; ++count) counts.push_back(count);
  for (const std::size_t count : {119, 120, 121, 127, 128, 129, 135, 136, 137, 255, 256, 257, 263, 300})
    counts.push_back(count);
  for (const std::size_t count : counts) {
    SCOPED_TRACE(count);
    expect_exact(plane, random_positions(plane, count, random));
  }
}

TEST_P(SamplingKernelsTest, ReadsNothingBeyondTheFirstAndLastNeighbourhood) {
  std::mt19937 random(3);
  for (const int row_slack : {0, 1, 3, 64}) {
    TestPlane plane = make_plane(11, 9, row_slack);
    fill_random(plane, random);
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
  fill_random(plane, random);
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
  fill_random(plane, random);
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
  fill_random(upright, random);
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

TEST_P(HighAlignedSamplesTest, IgnoreTheBitsBelow) {
  std::mt19937 random(8);
  TestPlane plane = make_plane(24, 12);
  fill_random(plane, random);
  const auto positions = random_positions(plane, 40, random);
  const auto clean = sample(kernels(), plane, positions);
  for (std::size_t low_byte = 0; low_byte < plane.bytes.size(); low_byte += 2)
    plane.bytes[low_byte] = static_cast<std::uint8_t>(plane.bytes[low_byte] | (random() & 0x3F));
  EXPECT_EQ(sample(kernels(), plane, positions), clean);
}

std::string case_name(const ::testing::TestParamInfo<Case>& info) {
  const auto& [set, storage, channels] = info.param;
  const char* storages[] = {"8Bit", "16Bit", "16BitHigh"};
  return std::string(set == Set::avx2 ? "Avx2" : "Scalar") + storages[static_cast<int>(storage)] +
         (channels == 1 ? "One" : "Pair");
}

INSTANTIATE_TEST_SUITE_P(AllKernels, SamplingKernelsTest,
                         ::testing::Combine(::testing::Values(Set::scalar, Set::avx2),
                                            ::testing::Values(SampleStorage::bits_8, SampleStorage::bits_16,
                                                              SampleStorage::bits_16_high),
                                            ::testing::Values(1, 2)),
                         case_name);

INSTANTIATE_TEST_SUITE_P(AllKernels, HighAlignedSamplesTest,
                         ::testing::Combine(::testing::Values(Set::scalar, Set::avx2),
                                            ::testing::Values(SampleStorage::bits_16_high),
                                            ::testing::Values(1, 2)),
                         case_name);

}  // namespace
}  // namespace veyrin::test
