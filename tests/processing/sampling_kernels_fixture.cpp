#include "tests/processing/sampling_kernels_fixture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "tests/processing/oracle.h"

namespace veyrin::test {

bool kernel_set_runs_here(KernelChoice set) {
  const Kernels kernels = choose_kernels(set);
  switch (set) {
    case KernelChoice::avx512:
      return &kernels.sampling == &avx512_sampling;
    case KernelChoice::avx2:
      return &kernels.sampling == &avx2_sampling;
    default:
      return &kernels.sampling == &scalar_sampling;
  }
}

std::string kernel_set_name(KernelChoice set) {
  const char* names[] = {"Best", "Scalar", "Avx2", "Avx512"};
  return names[static_cast<int>(set)];
}

TestPlane::TestPlane(SampleStorage wanted_storage, int wanted_channels, int wanted_width, int wanted_height,
                     int row_slack)
    : storage(wanted_storage),
      channels(wanted_channels),
      width(wanted_width),
      height(wanted_height),
      bytes_per_sample(storage == SampleStorage::bits_8 ? 1 : 2) {
  const std::ptrdiff_t row_bytes = static_cast<std::ptrdiff_t>(width) * channels * bytes_per_sample;
  stride = row_bytes + row_slack;
  bytes.resize(static_cast<std::size_t>(stride * (height - 1) + row_bytes));
}

void TestPlane::set(int x, int y, int channel, int value) {
  if (bytes_per_sample == 1) {
    bytes[offset(x, y, channel)] = static_cast<std::uint8_t>(value);
    return;
  }
  const auto word = static_cast<std::uint16_t>(storage == SampleStorage::bits_16_high ? value << 6 : value);
  std::memcpy(&bytes[offset(x, y, channel)], &word, 2);
}

int TestPlane::get(int x, int y, int channel) const {
  if (bytes_per_sample == 1) return bytes[offset(x, y, channel)];
  std::uint16_t word = 0;
  std::memcpy(&word, &bytes[offset(x, y, channel)], 2);
  return storage == SampleStorage::bits_16_high ? word >> 6 : word;
}

void TestPlane::fill_random(std::mt19937& random) {
  std::uniform_int_distribution<int> code(0, maximum());
  fill([&](int, int, int) { return code(random); });
}

double exact_sum(const TestPlane& plane, RemapPosition position, int channel) {
  static const auto weights = [] {
    std::array<std::array<double, 8>, 32> table{};
    for (int phase = 0; phase < 32; ++phase)
      for (int tap = 0; tap < 8; ++tap)
        table[static_cast<std::size_t>(phase)][static_cast<std::size_t>(tap)] = oracle_weight(phase, tap);
    return table;
  }();
  const auto& columns = weights[static_cast<std::size_t>(position.x & 31)];
  const auto& rows = weights[static_cast<std::size_t>(position.y & 31)];
  const int left = (position.x >> phase_bits) - 3;
  const int top = (position.y >> phase_bits) - 3;
  double sum = 0.0;
  for (std::size_t ky = 0; ky < 8; ++ky)
    for (std::size_t kx = 0; kx < 8; ++kx)
      sum += plane.get(left + static_cast<int>(kx), top + static_cast<int>(ky), channel) * columns[kx] *
             rows[ky];
  return sum;
}

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

std::vector<RemapPosition> random_positions(const TestPlane& plane, std::size_t count, std::mt19937& random) {
  std::uniform_int_distribution<std::int32_t> x(3 * 32, (plane.width - 4) * 32 - 1);
  std::uniform_int_distribution<std::int32_t> y(3 * 32, (plane.height - 4) * 32 - 1);
  std::vector<RemapPosition> positions(count);
  for (RemapPosition& position : positions) position = {x(random), y(random)};
  return positions;
}

void SamplingKernelsTest::SetUp() {
  const KernelChoice set = std::get<0>(GetParam());
  if (!kernel_set_runs_here(set)) GTEST_SKIP() << "this CPU does not run " << kernel_set_name(set);
}

void SamplingKernelsTest::expect_exact(const TestPlane& plane,
                                       const std::vector<RemapPosition>& positions) const {
  const auto values = sample(kernels(), plane, positions);
  // The products of both weights' absolute values add up to less than 2.6, and a value passes through fewer
  // than 12 roundings to 24 bits. Column weights that are rounded to some bits, each within a step and their
  // sum exact, can add up to four steps, which row weights of together less than 1.62 multiply.
  const bool rounds_weights = std::get<0>(GetParam()) == KernelChoice::avx512;
  const double step = std::ldexp(1.0, plane.bytes_per_sample == 1 ? -22 : -26);
  const double bound =
      plane.maximum() * (2.6 * 12 * std::ldexp(1.0, -24) + (rounds_weights ? 1.62 * 4 * step : 0.0));
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

std::string sampling_case_name(const ::testing::TestParamInfo<SamplingCase>& info) {
  const auto& [set, storage, channels] = info.param;
  const char* storages[] = {"8Bit", "16Bit", "16BitHigh"};
  return kernel_set_name(set) + storages[static_cast<int>(storage)] + (channels == 1 ? "One" : "Pair");
}

}  // namespace veyrin::test
