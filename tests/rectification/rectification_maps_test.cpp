#include "rectification/rectification_maps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/rectification/sample_calibration.h"
#include "tests/rectification/stored_maps.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

constexpr Matrix3 identity{1, 0, 0, 0, 1, 0, 0, 0, 1};

/// A camera that shows every position of the grid where it is.
CameraIntrinsics plain_camera(std::int32_t width, std::int32_t height) {
  return {CameraModel::pinhole, width, height, 1.0, 1.0, 0.0, 0.0};
}

struct Built {
  StoredMap map;
  double valid_fraction = -1.0;
};

Built build(const CameraIntrinsics& camera, Size eye, Size grid,
            const Matrix3& source_from_rectified = identity) {
  Built built;
  built.map = stored(build_eye_map(camera, source_from_rectified, eye, grid), &built.valid_fraction);
  return built;
}

TEST(EyeMap, HitsEveryGridPixelExactlyWhenTheEyeHasTheGridsSize) {
  for (const std::int32_t width : {7, 640, 641}) {
    const Built built = build(plain_camera(width, 5), {width, 5}, {width, 5});
    EXPECT_EQ(built.map.size, (Size{width, 5}));
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
  const Built smaller = build(plain_camera(101, 51), {5, 3}, {101, 51});
  const std::vector<float> columns{0, 25, 50, 75, 100}, rows{0, 25, 50};
  for (std::size_t i = 0; i < 15; ++i) {
    EXPECT_FLOAT_EQ(smaller.map.map_x[i], columns[i % 5]);
    EXPECT_FLOAT_EQ(smaller.map.map_y[i], rows[i / 5]);
  }
  const Built larger = build(plain_camera(3, 1), {9, 1}, {3, 1});
  for (std::size_t i = 0; i < 9; ++i) EXPECT_FLOAT_EQ(larger.map.map_x[i], static_cast<float>(i) * 0.25F);
}

TEST(EyeMap, SamplesTheCentreWithASingleColumnOrRow) {
  const Built built = build(plain_camera(102, 41), {1, 1}, {102, 41});
  ASSERT_EQ(built.map.map_x.size(), 1U);
  EXPECT_EQ(built.map.map_x[0], 50.5F);
  EXPECT_EQ(built.map.map_y[0], 20.0F);
}

TEST(EyeMap, KeepsTheLastSourcePixelAndMarksWhatLiesBeyond) {
  const Built built = build(plain_camera(10, 4), {12, 4}, {12, 4});
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
  const Built built = build(plain_camera(1000, 1000), {3, 3}, {3, 3}, homography);
  const std::vector<float> x{3, 4, 14.0F / 3, 28.0F / 9, 4, 60.0F / 13, 3.2F, 4, 32.0F / 7};
  const std::vector<float> y{20, 15.2F, 12, 64.0F / 3, 184.0F / 11, 176.0F / 13, 22.4F, 18, 104.0F / 7};
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_FLOAT_EQ(built.map.map_x[i], x[i]);
    EXPECT_FLOAT_EQ(built.map.map_y[i], y[i]);
  }
}

TEST(EyeMap, ComputesNothingWithoutPixels) {
  for (const std::int32_t height : {0, -2}) {
    const Built built = build(plain_camera(10, 10), {4, height}, {10, 10});
    EXPECT_TRUE(built.map.map_x.empty());
    EXPECT_TRUE(built.map.map_y.empty());
    EXPECT_FALSE(built.valid_fraction > 0.0);
  }
  EXPECT_TRUE(build(plain_camera(10, 10), {-4, 3}, {10, 10}).map.map_x.empty());
}

TEST(EyeMap, MarksEverythingWhenTheGeometryIsNoNumber) {
  Matrix3 nothing;
  nothing.fill(std::nan(""));
  const Built built = build(plain_camera(10, 10), {4, 3}, {10, 10}, nothing);
  EXPECT_EQ(built.map.map_x, std::vector<float>(12, -1.0F));
  EXPECT_EQ(built.map.map_y, std::vector<float>(12, -1.0F));
  EXPECT_EQ(built.valid_fraction, 0.0);
}

struct Outcome {
  bool built = false;
  StoredMaps maps;
  std::string error;
  std::string printed;
};

Outcome build(const RawDualTrackCalibration& calibration, Size eye = {64, 48}) {
  Outcome outcome;
  capture_output();
  outcome.built = build_stored_maps(calibration, eye, outcome.maps, outcome.error);
  if (outcome.built) report_valid_shares(outcome.maps.left_valid_fraction, outcome.maps.right_valid_fraction);
  outcome.printed = captured_output();
  return outcome;
}

TEST(RectificationMaps, NeedAValidCalibrationBeforeAnythingElse) {
  RawDualTrackCalibration calibration = sample_calibration();
  calibration.valid = false;
  calibration.left_intrinsics.model = CameraModel::pinhole;
  EXPECT_EQ(build(calibration, {0, 0}).error, "cannot rectify without valid calibration");
}

TEST(RectificationMaps, NeedAPossibleEyeSize) {
  RawDualTrackCalibration calibration = sample_calibration();
  calibration.right_intrinsics.model = CameraModel::pinhole;
  for (const Size eye : {Size{0, 48}, Size{64, 0}, Size{-1, 48}, Size{64, -5}}) {
    const Outcome outcome = build(calibration, eye);
    EXPECT_FALSE(outcome.built);
    EXPECT_EQ(outcome.error, "invalid rectified eye size") << eye.width << "x" << eye.height;
    EXPECT_EQ(outcome.printed, "");
  }
}

TEST(RectificationMaps, NeedFisheyeCamerasOnBothSides) {
  for (const bool left : {true, false}) {
    RawDualTrackCalibration calibration = sample_calibration();
    CameraIntrinsics& intrinsics = left ? calibration.left_intrinsics : calibration.right_intrinsics;
    intrinsics.model = CameraModel::pinhole;
    intrinsics.fx = 0.0;
    EXPECT_EQ(build(calibration).error,
              "raw dual-track rectification currently requires KB4 fisheye intrinsics");
  }
}

TEST(RectificationMaps, NeedInvertibleCameras) {
  RawDualTrackCalibration left = sample_calibration();
  left.left_intrinsics.fx = 0.0;
  EXPECT_EQ(build(left).error, "could not invert calibration matrix");
  RawDualTrackCalibration right = sample_calibration();
  right.right_intrinsics.fy = 0.0;
  EXPECT_EQ(build(right).error, "could not invert calibration matrix");
  RawDualTrackCalibration rotation = sample_calibration();
  rotation.stereo_extrinsic.plus_x = {0.0F, 0.0F, 0.0F};
  EXPECT_EQ(build(rotation).error, "could not invert calibration matrix");
}

TEST(RectificationMaps, NeedAnInvertibleRectifiedCamera) {
  RawDualTrackCalibration calibration = parallel_calibration();
  calibration.right_intrinsics.fx = -calibration.left_intrinsics.fx;
  EXPECT_EQ(build(calibration).error, "could not invert rectification homography");
}

TEST(RectificationMaps, SucceedWithoutAnyValidPixelForADegenerateBaseline) {
  for (const float along_axis : {0.0F, 0.064F}) {
    RawDualTrackCalibration calibration = sample_calibration();
    calibration.stereo_extrinsic.position = {0.0F, 0.0F, along_axis};
    const Outcome outcome = build(calibration);
    ASSERT_TRUE(outcome.built) << outcome.error;
    EXPECT_EQ(outcome.printed,
              "  rectification_valid_pixels: left 0.0%, right 0.0%\n\n"
              "  rectification: both eyes have no valid pixel and will be black\n");
    EXPECT_EQ(outcome.maps.left_valid_fraction, 0.0);
    EXPECT_EQ(outcome.maps.left.map_x, std::vector<float>(64 * 48, -1.0F));
    EXPECT_EQ(outcome.maps.right.map_y, std::vector<float>(64 * 48, -1.0F));
  }
}

TEST(RectificationMaps, ReportTheirSizeAndValidShares) {
  const Outcome whole = build(parallel_calibration(), {51, 41});
  ASSERT_TRUE(whole.built) << whole.error;
  EXPECT_EQ(whole.printed, "  rectification_valid_pixels: left 100.0%, right 100.0%\n\n");
  EXPECT_EQ(whole.maps.left.size, (Size{51, 41}));
  EXPECT_EQ(whole.maps.right.size, (Size{51, 41}));
  EXPECT_EQ(whole.maps.right.map_y.size(), 51U * 41U);

  // The right image ends 8 columns early: with the grid's mean width of 97, its columns 0 to 92 at most are
  // there.
  RawDualTrackCalibration narrow = parallel_calibration();
  narrow.right_intrinsics.width = 93;
  const Outcome part = build(narrow, {97, 101});
  ASSERT_TRUE(part.built) << part.error;
  const auto& columns = part.maps.right.map_x;
  // Of 9797 pixels, those that the lens formula puts there in double precision.
  EXPECT_EQ(std::count_if(columns.begin(), columns.end(), [](float x) { return x >= 0.0F; }), 9705);
  EXPECT_DOUBLE_EQ(part.maps.right_valid_fraction, 9705.0 / 9797.0);
  EXPECT_EQ(part.printed, "  rectification_valid_pixels: left 100.0%, right 99.1%\n\n");
}

TEST(RectificationMaps, AreSymmetricForParallelCameras) {
  const Outcome outcome = build(parallel_calibration(), {101, 101});
  ASSERT_TRUE(outcome.built) << outcome.error;
  const StoredMaps& maps = outcome.maps;
  EXPECT_EQ(maps.left.map_x, maps.right.map_x);
  EXPECT_EQ(maps.left.map_y, maps.right.map_y);
  // The ray of the grid position (75, 50) leaves at atan(0.25).
  EXPECT_NEAR(maps.left.map_x[50 * 101 + 75], 50.0 + 100.0 * std::atan(0.25), 1e-4);
  EXPECT_NEAR(maps.left.map_y[50 * 101 + 75], 50.0, 1e-4);
}

TEST(RectificationMaps, TruncateTheMeanGridSize) {
  RawDualTrackCalibration calibration = parallel_calibration();
  calibration.right_intrinsics.width = 104;
  calibration.right_intrinsics.height = 102;
  const Outcome outcome = build(calibration, {102, 101});
  ASSERT_TRUE(outcome.built) << outcome.error;
  // A grid of 102.5 x 101.5 truncated: column and row numbers are grid positions.
  EXPECT_NEAR(outcome.maps.left.map_x[50 * 102 + 100], 50.0 + 100.0 * std::atan(0.5), 1e-4);
  EXPECT_NEAR(outcome.maps.left.map_y[100 * 102 + 50], 50.0 + 100.0 * std::atan(0.5), 1e-4);
}

TEST(IdentityMaps, TakeEveryPixelFromItsOwnPlace) {
  const StoredMaps maps = stored(identity_maps({3, 2}));
  for (const StoredMap* map : {&maps.left, &maps.right}) {
    EXPECT_EQ(map->size, (Size{3, 2}));
    EXPECT_EQ(map->map_x, (std::vector<float>{0, 1, 2, 0, 1, 2}));
    EXPECT_EQ(map->map_y, (std::vector<float>{0, 0, 0, 1, 1, 1}));
  }
  EXPECT_EQ(maps.left_valid_fraction, 1.0);
  EXPECT_EQ(maps.right_valid_fraction, 1.0);
}

}  // namespace
}  // namespace veyrin::test
