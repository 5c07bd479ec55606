// Neighbouring outputs share the samples that a kernel loads. These positions make them share much, little or
// nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "tests/processing/sampling_kernels_fixture.h"

namespace veyrin::test {
namespace {

constexpr int size = 150;

/// Steps of 1/32 sample, moved inside where the neighbourhood would not be.
RemapPosition inside(double x, double y) {
  const auto steps = [](double value) {
    return std::clamp(static_cast<std::int32_t>(std::floor(value * 32.0 + 0.5)), 3 * 32, (size - 4) * 32 - 1);
  };
  return {steps(x), steps(y)};
}

/// A row of a view through a fisheye lens: its lines are bent, the more so the farther out.
std::vector<RemapPosition> fisheye_row(double height) {
  std::vector<RemapPosition> row;
  for (int column = 0; column < size; ++column) {
    const double u = (column - size / 2.0) / (0.3 * size);
    const double radius = std::hypot(u, height);
    const double bend = radius == 0.0 ? 1.0 : std::atan(radius) / radius;
    row.push_back(inside(size / 2.0 + 0.3 * size * bend * u, size / 2.0 + 0.3 * size * bend * height));
  }
  return row;
}

class SamplingGroupsTest : public SamplingKernelsTest {
 protected:
  [[nodiscard]] TestPlane random_plane() const {
    std::mt19937 random(9);
    TestPlane plane = make_plane(size, size, 3);
    plane.fill_random(random);
    return plane;
  }
};

TEST_P(SamplingGroupsTest, FollowTheRowsOfAFisheye) {
  const TestPlane plane = random_plane();
  for (const double height : {-1.6, -1.0, -0.35, 0.0, 0.2, 0.9, 1.5}) {
    SCOPED_TRACE(height);
    expect_exact(plane, fisheye_row(height));
  }
}

TEST_P(SamplingGroupsTest, FollowLinesOfAnySlopeAndScale) {
  const TestPlane plane = random_plane();
  // Around each limit of what fits into eight, 16, 24 or 32 samples and one to four rows.
  for (const double step : {0.0, 0.1, 0.5, 0.53, 0.55, 1.0, 1.13, 1.2, 1.55, 1.65, 2.3, 3.4, 3.6, 9.0})
    for (const double slope : {0.0, 0.03, 0.07, 0.13, 0.19, 0.22, 0.27, 0.4, 0.45, 1.0, 3.0})
      for (const double direction : {1.0, -1.0}) {
        SCOPED_TRACE(std::to_string(step) + " across, " + std::to_string(slope) + " down");
        std::vector<RemapPosition> line;
        for (int i = -20; i < 20; ++i)
          line.push_back(inside(75.3 + direction * step * i, 75.7 - direction * slope * i));
        expect_exact(plane, line);
        std::ranges::reverse(line);
        for (RemapPosition& position : line) std::swap(position.x, position.y);
        expect_exact(plane, line);
      }
}

TEST_P(SamplingGroupsTest, NoticeASinglePositionThatLiesElsewhere) {
  const TestPlane plane = random_plane();
  for (std::size_t odd_one = 0; odd_one < 16; ++odd_one)
    for (const auto& [x, y] :
         {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {30, 0}, {-30, 0}, {0, 30}, {0, -30}, {7, 3}}) {
      SCOPED_TRACE(std::to_string(odd_one) + " moved by " + std::to_string(x) + ", " + std::to_string(y));
      std::vector<RemapPosition> positions;
      for (int i = 0; i < 16; ++i) positions.push_back(inside(70.2 + 0.4 * i, 60.9 + 0.1 * i));
      positions[odd_one].x += 32 * x;
      positions[odd_one].y += 32 * y;
      expect_exact(plane, positions);
    }
}

TEST_P(SamplingGroupsTest, FollowRowsThatJump) {
  const TestPlane plane = random_plane();
  for (const std::size_t stretch : {1, 3, 4, 7, 8, 12, 16, 21}) {
    SCOPED_TRACE(stretch);
    std::vector<RemapPosition> positions;
    for (std::size_t i = 0; i < 100; ++i) {
      const bool far = i / stretch % 2 == 1;
      positions.push_back(inside((far ? 100.0 : 10.0) + 0.3 * static_cast<double>(i), far ? 120.0 : 20.0));
    }
    expect_exact(plane, positions);
  }
}

TEST_P(SamplingGroupsTest, GiveAnOutputTheSameValueInAnyCompany) {
  std::mt19937 random(10);
  const TestPlane plane = random_plane();
  std::vector<RemapPosition> positions = fisheye_row(1.1);
  const auto scattered = random_positions(plane, 60, random);
  positions.insert(positions.begin() + 70, scattered.begin(), scattered.end());
  const auto together = sample(kernels(), plane, positions);
  for (std::size_t i = 0; i < positions.size(); ++i) {
    const auto alone = sample(kernels(), plane, {positions[i]});
    for (std::size_t channel = 0; channel < alone.size(); ++channel)
      ASSERT_EQ(together[channel][i], alone[channel][0]) << "position " << i;
  }
}

TEST_P(SamplingGroupsTest, KeepExtremeSamplesExact) {
  TestPlane plane = make_plane(size, size);
  const int maximum = plane.maximum();
  const auto row = fisheye_row(-1.2);
  plane.fill([&](int, int, int) { return maximum; });
  expect_exact(plane, row);
  plane.fill([&](int x, int y, int) { return (x + y) % 2 * maximum; });
  expect_exact(plane, row);
  plane.fill([&](int x, int, int channel) { return (x + channel) % 2 * maximum; });
  expect_exact(plane, row);
}

INSTANTIATE_TEST_SUITE_P(AllKernels, SamplingGroupsTest, all_sampling_cases(), sampling_case_name);

}  // namespace
}  // namespace veyrin::test
