// What tests of the sampling kernels share: planes, exact sums and a fixture for each set, storage and number
// of channels.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "processing/kernels.h"

namespace veyrin::test {

inline constexpr KernelChoice all_kernel_sets[] = {KernelChoice::scalar_only, KernelChoice::avx2,
                                                   KernelChoice::avx512};

/// Whether this machine runs the set itself and not one in its stead.
bool kernel_set_runs_here(KernelChoice set);

/// "Scalar", "Avx2" and so on, for names of tests.
std::string kernel_set_name(KernelChoice set);

/// A plane in memory of exactly its size, so that the address sanitizer sees any stray read.
struct TestPlane {
  TestPlane(SampleStorage storage, int channels, int width, int height, int row_slack);

  [[nodiscard]] int maximum() const { return storage == SampleStorage::bits_8 ? 255 : 1023; }
  [[nodiscard]] std::size_t offset(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t channel) const {
    return static_cast<std::size_t>(y * stride + (x * channels + channel) * bytes_per_sample);
  }
  void set(int x, int y, int channel, int value);
  [[nodiscard]] int get(int x, int y, int channel) const;
  template <typename Value>
  void fill(const Value& value) {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        for (int channel = 0; channel < channels; ++channel) set(x, y, channel, value(x, y, channel));
  }
  void fill_random(std::mt19937& random);

  SampleStorage storage;
  int channels;
  int width;
  int height;
  int bytes_per_sample;
  std::ptrdiff_t stride;
  std::vector<std::uint8_t> bytes;
};

/// The weighted sum in double precision.
double exact_sum(const TestPlane& plane, RemapPosition position, int channel);

/// Values of both channels (one for a single one), sampled with poisoned room around them.
std::vector<std::vector<float>> sample(const SamplingKernels& kernels, const TestPlane& plane,
                                       const std::vector<RemapPosition>& positions);

/// Positions all over the inside of a plane.
std::vector<RemapPosition> random_positions(const TestPlane& plane, std::size_t count, std::mt19937& random);

using SamplingCase = std::tuple<KernelChoice, SampleStorage, int>;

class SamplingKernelsTest : public ::testing::TestWithParam<SamplingCase> {
 protected:
  void SetUp() override;

  [[nodiscard]] const SamplingKernels& kernels() const {
    return choose_kernels(std::get<0>(GetParam())).sampling;
  }
  [[nodiscard]] TestPlane make_plane(int width, int height, int row_slack = 0) const {
    return {std::get<SampleStorage>(GetParam()), std::get<int>(GetParam()), width, height, row_slack};
  }
  /// Fails unless every value is the exact sum but for the rounding that the set is allowed.
  void expect_exact(const TestPlane& plane, const std::vector<RemapPosition>& positions) const;
};

std::string sampling_case_name(const ::testing::TestParamInfo<SamplingCase>& info);

/// Every set, storage and number of channels.
inline auto all_sampling_cases() {
  return ::testing::Combine(
      ::testing::ValuesIn(all_kernel_sets),
      ::testing::Values(SampleStorage::bits_8, SampleStorage::bits_16, SampleStorage::bits_16_high),
      ::testing::Values(1, 2));
}

}  // namespace veyrin::test
