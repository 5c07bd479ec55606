#include "processing/storing_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "processing/cpu_features.h"

namespace veyrin::test {
namespace {

constexpr StoreRule same_8{255.0F, 255.0F, 0};
constexpr StoreRule same_10{1023.0F, 1023.0F, 0};
constexpr StoreRule up_to_10{1023.0F, 255.0F, 0};
constexpr StoreRule down_to_8{255.0F, 1023.0F, 0};
constexpr StoreRule high_10{1023.0F, 1023.0F, 6};

class StoringKernelsTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (GetParam() && !cpu_has_avx2()) GTEST_SKIP() << "this CPU has no AVX2";
  }

  [[nodiscard]] const StoringKernels& kernels() const { return GetParam() ? avx2_storing : scalar_storing; }

  [[nodiscard]] std::vector<int> store(const std::vector<float>& values, const StoreRule& rule) const {
    const bool wide = rule.max_code > 255.0F;
    std::vector<std::uint8_t> bytes(values.size() * (wide ? 2 : 1));
    kernels().one[wide ? 1 : 0](values.data(), values.size(), rule, bytes.data());
    std::vector<int> codes;
    for (std::size_t i = 0; i < values.size(); ++i)
      codes.push_back(wide ? bytes[2 * i] | bytes[2 * i + 1] << 8 : bytes[i]);
    return codes;
  }
};

TEST_P(StoringKernelsTest, RoundsHalvesUpAndClamps) {
  const std::vector<float> values = {0.0F,   0.49F,   0.5F,   std::nextafter(0.5F, 0.0F),
                                     1.5F,   2.5F,    2.51F,  -0.4F,
                                     -7.0F,  254.49F, 254.5F, 255.0F,
                                     255.5F, 300.F,   1e30F,  -1e30F};
  EXPECT_EQ(store(values, same_8),
            (std::vector<int>{0, 0, 1, 0, 2, 3, 3, 0, 0, 254, 255, 255, 255, 255, 255, 0}));
}

TEST_P(StoringKernelsTest, ShiftsHighAlignedCodes) {
  EXPECT_EQ(store({0.0F, 1.0F, 511.5F, 1023.0F, 2000.0F}, high_10),
            (std::vector<int>{0, 64, 512 * 64, 1023 * 64, 1023 * 64}));
}

TEST_P(StoringKernelsTest, NeutralChromaIsScaledAsAnySample) {
  EXPECT_EQ(store({128.0F}, up_to_10), std::vector<int>{514});
  EXPECT_EQ(store({512.0F}, down_to_8), std::vector<int>{128});
}

TEST_P(StoringKernelsTest, RescalesEveryCodeToTheNearestCode) {
  const struct {
    StoreRule rule;
    int source_codes;
  } cases[] = {{same_8, 256}, {same_10, 1024}, {up_to_10, 256}, {down_to_8, 1024}};
  for (const auto& [rule, source_codes] : cases) {
    std::vector<float> values;
    std::vector<int> expected;
    for (int code = 0; code < source_codes; ++code) {
      values.push_back(static_cast<float>(code));
      // Whole numbers: no ratio of these depths lands on a half.
      const int maximum = static_cast<int>(rule.max_code);
      expected.push_back((2 * code * maximum + source_codes - 1) / (2 * (source_codes - 1)));
    }
    EXPECT_EQ(store(values, rule), expected) << rule.source_max << " to " << rule.max_code;
  }
}

TEST_P(StoringKernelsTest, GivesTheScalarCodesAtAnyCountAndWritesNothingElse) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> value(-30.0F, 1100.0F);
  constexpr std::size_t guard = 8;
  for (const StoreRule& rule : {same_8, same_10, up_to_10, down_to_8, high_10}) {
    const std::size_t code_bytes = rule.max_code > 255.0F ? 2 : 1;
    for (std::size_t count = 0; count <= 35; ++count) {
      std::vector<float> first(count);
      std::vector<float> second(count);
      for (std::size_t i = 0; i < count; ++i) {
        first[i] = value(random);
        second[i] = std::round(value(random)) + 0.5F;
      }
      std::vector<std::uint8_t> expected(guard + 2 * count * code_bytes + guard, 0xA5);
      std::vector<std::uint8_t> stored = expected;
      scalar_storing.pair[code_bytes - 1](first.data(), second.data(), count, rule, expected.data() + guard);
      kernels().pair[code_bytes - 1](first.data(), second.data(), count, rule, stored.data() + guard);
      EXPECT_EQ(stored, expected) << "pairs, count " << count;

      std::fill(expected.begin(), expected.end(), 0xA5);
      stored = expected;
      scalar_storing.one[code_bytes - 1](second.data(), count, rule, expected.data() + guard);
      kernels().one[code_bytes - 1](second.data(), count, rule, stored.data() + guard);
      EXPECT_EQ(stored, expected) << "count " << count;
    }
  }
}

TEST_P(StoringKernelsTest, InterleavesFirstBeforeSecond) {
  std::vector<std::uint8_t> bytes(6);
  const float first[] = {1.0F, 2.0F, 3.0F};
  const float second[] = {11.0F, 12.0F, 13.0F};
  kernels().pair[0](first, second, 3, same_8, bytes.data());
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{1, 11, 2, 12, 3, 13}));
}

TEST_P(StoringKernelsTest, AveragesNeighboursAlsoInPlace) {
  for (std::size_t count = 0; count <= 35; ++count) {
    std::vector<float> values(2 * count + 1, -99.0F);
    for (std::size_t i = 0; i < 2 * count; ++i) values[i] = static_cast<float>((i * 37) % 101);
    std::vector<float> expected;
    for (std::size_t i = 0; i < count; ++i) expected.push_back((values[2 * i] + values[2 * i + 1]) / 2.0F);
    std::vector<float> apart(count + 1, -99.0F);
    kernels().average_pairs(values.data(), count, apart.data());
    EXPECT_EQ(apart.back(), -99.0F);
    apart.pop_back();
    EXPECT_EQ(apart, expected) << count;
    kernels().average_pairs(values.data(), count, values.data());
    EXPECT_EQ(values.back(), -99.0F);
    values.resize(count);
    EXPECT_EQ(values, expected) << count;
  }
}

INSTANTIATE_TEST_SUITE_P(AllKernels, StoringKernelsTest, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "Avx2" : "Scalar"; });

}  // namespace
}  // namespace veyrin::test
