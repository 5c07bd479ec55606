// Planes between pages that cannot be read: a kernel that reads beyond its samples, even without using what
// it reads, is ended by the system.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "tests/processing/sampling_kernels_fixture.h"

namespace veyrin::test {
namespace {

/// Readable memory whose neighbouring pages are not.
class FencedMemory {
 public:
  explicit FencedMemory(std::size_t size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    readable_ = (size + page - 1) / page * page;
    mapped_ = readable_ + 2 * page;
    void* mapping = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) return;
    start_ = static_cast<std::uint8_t*>(mapping);
    begin_ = start_ + page;
    if (mprotect(begin_, readable_, PROT_READ | PROT_WRITE) != 0) begin_ = nullptr;
  }
  ~FencedMemory() {
    if (start_ != nullptr) munmap(start_, mapped_);
  }
  FencedMemory(const FencedMemory&) = delete;
  FencedMemory& operator=(const FencedMemory&) = delete;

  /// Null when the system did not give the memory.
  [[nodiscard]] std::uint8_t* begin() const { return begin_; }
  [[nodiscard]] std::uint8_t* end() const { return begin_ + readable_; }

 private:
  std::size_t readable_ = 0;
  std::size_t mapped_ = 0;
  std::uint8_t* start_ = nullptr;
  std::uint8_t* begin_ = nullptr;
};

/// Rows of positions along all four edges of the plane, level and slanted, and its corners.
std::vector<std::vector<RemapPosition>> edge_positions(const TestPlane& plane) {
  const std::int32_t left = 3 * 32;
  const std::int32_t top = 3 * 32;
  const std::int32_t right = (plane.width - 4) * 32 - 1;
  const std::int32_t bottom = (plane.height - 4) * 32 - 1;
  std::vector<std::vector<RemapPosition>> rows = {
      {{left, top}, {right, top}, {left, bottom}, {right, bottom}}, {{left, top}}, {{right, bottom}}};
  for (const std::int32_t step : {3, 31, 40, 70})
    for (const std::int32_t slope : {0, 2, 5, 9, 33}) {
      std::vector<RemapPosition> from_left_top;
      std::vector<RemapPosition> from_right_bottom;
      for (std::int32_t i = 0; i < 48; ++i) {
        from_left_top.push_back({std::min(left + step * i, right), std::min(top + slope * i, bottom)});
        from_right_bottom.push_back({std::max(right - step * i, left), std::max(bottom - slope * i, top)});
      }
      rows.push_back(from_left_top);
      rows.push_back(from_right_bottom);
      std::reverse(from_right_bottom.begin(), from_right_bottom.end());
      rows.push_back(from_right_bottom);
    }
  return rows;
}

class SamplingKernelsReadsTest : public SamplingKernelsTest {
 protected:
  /// Samples with the given rows at that address and expects the values that they have elsewhere.
  void expect_same(const TestPlane& plane, const std::uint8_t* data, std::ptrdiff_t stride,
                   const std::vector<RemapPosition>& positions) const {
    static const LanczosWeights weights = make_lanczos_weights();
    const auto expected = sample(kernels(), plane, positions);
    std::vector<std::vector<float>> values(2, std::vector<float>(positions.size()));
    const auto storage = static_cast<std::size_t>(plane.storage);
    if (plane.channels == 1)
      kernels().one[storage](positions.data(), positions.size(), data, stride, weights, values[0].data());
    else
      kernels().pair[storage](positions.data(), positions.size(), data, stride, weights, values[0].data(),
                              values[1].data());
    for (std::size_t channel = 0; channel < expected.size(); ++channel)
      EXPECT_EQ(values[channel], expected[channel]);
  }
};

TEST_P(SamplingKernelsReadsTest, StayInsideAPlaneBetweenUnreadablePages) {
  std::mt19937 random(11);
  for (const auto& [width, height] : {std::pair{8, 8}, {9, 11}, {40, 20}, {61, 45}}) {
    SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
    TestPlane plane = make_plane(width, height);
    plane.fill_random(random);
    const FencedMemory memory(plane.bytes.size());
    ASSERT_NE(memory.begin(), nullptr);
    TestPlane flipped = plane;
    flipped.fill([&](int x, int y, int channel) { return plane.get(x, plane.height - 1 - y, channel); });
    const std::ptrdiff_t last_row = plane.stride * (height - 1);
    for (std::uint8_t* data : {memory.begin(), memory.end() - plane.bytes.size()})
      for (const auto& positions : edge_positions(plane)) {
        std::memcpy(data, plane.bytes.data(), plane.bytes.size());
        expect_same(plane, data, plane.stride, positions);
        std::memcpy(data, flipped.bytes.data(), flipped.bytes.size());
        expect_same(plane, data + last_row, -plane.stride, positions);
      }
  }
}

INSTANTIATE_TEST_SUITE_P(AllKernels, SamplingKernelsReadsTest, all_sampling_cases(), sampling_case_name);

}  // namespace
}  // namespace veyrin::test
