#include "processing/storing_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "processing/kernels.h"
#include "tests/processing/sampling_kernels_fixture.h"

namespace veyrin::test {
namespace {

constexpr StoreRule same_8{255.0F, 255.0F, 0};
constexpr StoreRule same_10{1023.0F, 1023.0F, 0};
constexpr StoreRule up_to_10{1023.0F, 255.0F, 0};
constexpr StoreRule down_to_8{255.0F, 1023.0F, 0};
constexpr StoreRule high_10{1023.0F, 1023.0F, 6};

class StoringKernelsTest : public ::testing::TestWithParam<KernelChoice> {
 protected:
  void SetUp() override {
    if (!kernel_set_runs_here(GetParam()))
      GTEST_SKIP() << "this CPU does not run " << kernel_set_name(GetParam());
  }

  [[nodiscard]] const StoringKernels& kernels() const { return choose_kernels(GetParam()).storing; }

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

/// Sets that are measured against the scalar one.
class FastStoringKernelsTest : public StoringKernelsTest {};

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

/// Calls check(first, second, rule, code bytes) with values beyond both ends of the codes, at any count.
template <typename Check>
void for_each_count(const Check& check) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> value(-30.0F, 1100.0F);
  for (const StoreRule& rule : {same_8, same_10, up_to_10, down_to_8, high_10})
    for (std::size_t count = 0; count <= 35; ++count) {
      std::vector<float> first(count);
      std::vector<float> second(count);
      for (std::size_t i = 0; i < count; ++i) {
        first[i] = value(random);
        second[i] = std::round(value(random)) + 0.5F;
      }
      SCOPED_TRACE(count);
      check(first, second, rule, rule.max_code > 255.0F ? std::size_t{2} : std::size_t{1});
    }
}

constexpr std::size_t guard = 8;

/// Single codes or pairs as a set stores them, with poisoned room around them.
std::vector<std::uint8_t> stored_with_guards(const StoringKernels& kernels, const std::vector<float>& first,
                                             const std::vector<float>* second, const StoreRule& rule,
                                             std::size_t code_bytes) {
  const std::size_t codes = first.size() * (second != nullptr ? 2 : 1);
  std::vector<std::uint8_t> bytes(guard + codes * code_bytes + guard, 0xA5);
  std::uint8_t* out = bytes.data() + guard;
  if (second != nullptr)
    kernels.pair[code_bytes - 1](first.data(), second->data(), first.size(), rule, out);
  else
    kernels.one[code_bytes - 1](first.data(), first.size(), rule, out);
  return bytes;
}

TEST_P(StoringKernelsTest, WritesNothingElseAtAnyCount) {
  const std::vector<std::uint8_t> untouched(guard, 0xA5);
  for_each_count([&](const std::vector<float>& first, const std::vector<float>& second, const StoreRule& rule,
                     std::size_t code_bytes) {
    for (const auto& bytes : {stored_with_guards(kernels(), first, &second, rule, code_bytes),
                              stored_with_guards(kernels(), second, nullptr, rule, code_bytes)}) {
      EXPECT_EQ(std::vector(bytes.begin(), bytes.begin() + guard), untouched);
      EXPECT_EQ(std::vector(bytes.end() - guard, bytes.end()), untouched);
    }
  });
}

TEST_P(FastStoringKernelsTest, GivesTheScalarCodesAtAnyCount) {
  for_each_count([&](const std::vector<float>& first, const std::vector<float>& second, const StoreRule& rule,
                     std::size_t code_bytes) {
    EXPECT_EQ(stored_with_guards(kernels(), first, &second, rule, code_bytes),
              stored_with_guards(scalar_storing, first, &second, rule, code_bytes));
    EXPECT_EQ(stored_with_guards(kernels(), second, nullptr, rule, code_bytes),
              stored_with_guards(scalar_storing, second, nullptr, rule, code_bytes));
  });
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

std::string set_name(const ::testing::TestParamInfo<KernelChoice>& info) {
  return kernel_set_name(info.param);
}

INSTANTIATE_TEST_SUITE_P(AllKernels, StoringKernelsTest, ::testing::ValuesIn(all_kernel_sets), set_name);
INSTANTIATE_TEST_SUITE_P(AllKernels, FastStoringKernelsTest,
                         ::testing::Values(KernelChoice::avx2, KernelChoice::avx512), set_name);

}  // namespace
}  // namespace veyrin::test
