#include "rectification/eye_map.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace veyrin::test {
namespace {

constexpr Matrix3 identity{1, 0, 0, 0, 1, 0, 0, 0, 1};

/// A camera that shows every position of the grid where it is.
CameraIntrinsics plain_camera(std::int32_t width, std::int32_t height) {
  return {CameraModel::pinhole, width, height, 1.0, 1.0, 0.0, 0.0};
}

struct Built {
  EyeMap map;
  double valid_fraction = -1.0;
};

Built build(const CameraIntrinsics& camera, std::int32_t eye_width, std::int32_t eye_height,
            std::int32_t grid_width, std::int32_t grid_height,
            const Matrix3& source_from_rectified = identity) {
  Built built;
  built.map = build_eye_map(camera, source_from_rectified, eye_width, eye_height, grid_width, grid_height,
                            built.valid_fraction);
  return built;
}

TEST(EyeMap, HitsEveryGridPixelExactlyWhenTheEyeHasTheGridsSize) {
  for (const std::int32_t width : {7, 640, 641}) {
    const Built built = build(plain_camera(width, 5), width, 5, width, 5);
    EXPECT_EQ(built.map.width, width);
    EXPECT_EQ(built.map.height, 5);
    EXPECT_EQ(built.valid_fraction, 1.0);
    for (std::int32_t row = 0; row < 5; ++row) {
      for (std::int32_t column = 0; column < width; ++column) {
        const auto index = static_cast<std::size_t>(row) * width + column;
        ASSERT_EQ(built.map.map_x[index], static_cast<float>(column));
        ASSERT_EQ(built.map.map_y[index], static_cast<float>(row));
      }
    }
  }
}

TEST(EyeMap, SpansTheGridFromItsFirstToItsLastPixel) {
  const Built smaller = build(plain_camera(101, 51), 5, 3, 101, 51);
  const std::vector<float> columns{0, 25, 50, 75, 100}, rows{0, 25, 50};
  for (std::size_t i = 0; i < 15; ++i) {
    EXPECT_FLOAT_EQ(smaller.map.map_x[i], columns[i % 5]);
    EXPECT_FLOAT_EQ(smaller.map.map_y[i], rows[i / 5]);
  }
  const Built larger = build(plain_camera(3, 1), 9, 1, 3, 1);
  for (std::size_t i = 0; i < 9; ++i) EXPECT_FLOAT_EQ(larger.map.map_x[i], static_cast<float>(i) * 0.25F);
}

TEST(EyeMap, SamplesTheCentreWithASingleColumnOrRow) {
  const Built built = build(plain_camera(102, 41), 1, 1, 102, 41);
  ASSERT_EQ(built.map.map_x.size(), 1U);
  EXPECT_EQ(built.map.map_x[0], 50.5F);
  EXPECT_EQ(built.map.map_y[0], 20.0F);
}

TEST(EyeMap, KeepsTheLastSourcePixelAndMarksWhatLiesBeyond) {
  const Built built = build(plain_camera(10, 4), 12, 4, 12, 4);
  EXPECT_EQ(built.map.map_x[9], 9.0F);
  EXPECT_EQ(built.map.map_y[9], 0.0F);
  for (const std::size_t index : {10U, 11U, 22U, 23U}) {
    EXPECT_EQ(built.map.map_x[index], -1.0F);
    EXPECT_EQ(built.map.map_y[index], -1.0F);
  }
  EXPECT_DOUBLE_EQ(built.valid_fraction, 10.0 / 12.0);
}

TEST(EyeMap, UsesTheHomographyRowByRow) {
  const Matrix3 homography{2, 0.5, 3, -1, 4, 20, 0.25, 0.125, 1};
  const Built built = build(plain_camera(1000, 1000), 3, 3, 3, 3, homography);
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      const double w = 0.25 * column + 0.125 * row + 1.0;
      const auto index = 3 * static_cast<std::size_t>(row) + column;
      EXPECT_FLOAT_EQ(built.map.map_x[index], static_cast<float>((2.0 * column + 0.5 * row + 3.0) / w));
      EXPECT_FLOAT_EQ(built.map.map_y[index], static_cast<float>((-1.0 * column + 4.0 * row + 20.0) / w));
    }
  }
}

TEST(EyeMap, ComputesNothingWithoutPixels) {
  for (const std::int32_t height : {0, -2}) {
    const Built built = build(plain_camera(10, 10), 4, height, 10, 10);
    EXPECT_TRUE(built.map.map_x.empty());
    EXPECT_TRUE(built.map.map_y.empty());
    EXPECT_FALSE(built.valid_fraction > 0.0);
  }
  EXPECT_TRUE(build(plain_camera(10, 10), -4, 3, 10, 10).map.map_x.empty());
}

TEST(EyeMap, MarksEverythingWhenTheGeometryIsNoNumber) {
  Matrix3 nothing;
  nothing.fill(std::nan(""));
  const Built built = build(plain_camera(10, 10), 4, 3, 10, 10, nothing);
  EXPECT_EQ(built.map.map_x, std::vector<float>(12, -1.0F));
  EXPECT_EQ(built.map.map_y, std::vector<float>(12, -1.0F));
  EXPECT_EQ(built.valid_fraction, 0.0);
}

}  // namespace
}  // namespace veyrin::test
