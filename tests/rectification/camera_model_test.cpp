#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

#include "rectification/rectified_geometry.h"

namespace veyrin::test {
namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

CameraIntrinsics camera(CameraModel model) {
  CameraIntrinsics intrinsics{model, 1920, 1440, 801.5, 802.25, 961.25, 717.5};
  if (model == CameraModel::kb4) {
    intrinsics.k1 = 0.035;
    intrinsics.k2 = -0.012;
    intrinsics.k3 = 0.0041;
    intrinsics.k4 = -0.00087;
  }
  return intrinsics;
}

TEST(ProjectRay, PutsTheOpticalAxisOnThePrincipalPoint) {
  for (const CameraModel model : {CameraModel::pinhole, CameraModel::kb4}) {
    const ImagePosition position = project_ray(camera(model), 0.0F, 0.0F);
    EXPECT_EQ(position.x, 961.25F);
    EXPECT_EQ(position.y, 717.5F);
  }
}

TEST(ProjectRay, ScalesByTheFocalLengthsForAPinhole) {
  const ImagePosition position = project_ray(camera(CameraModel::pinhole), 0.5F, -0.25F);
  EXPECT_EQ(position.x, 1362.0F);
  EXPECT_EQ(position.y, 516.9375F);
}

TEST(ProjectRay, MapsTheRadiusToItsAngleForAFisheyeWithoutDistortion) {
  CameraIntrinsics fisheye = camera(CameraModel::kb4);
  fisheye.k1 = fisheye.k2 = fisheye.k3 = fisheye.k4 = 0.0;
  const ImagePosition position = project_ray(fisheye, 1.0F, 0.0F);
  EXPECT_NEAR(position.x, std::numbers::pi / 4.0 * 801.5 + 961.25, 1e-3);
  EXPECT_EQ(position.y, 717.5F);
}

TEST(ProjectRay, IsContinuousAcrossTheRadiusThatCountsAsTheAxis) {
  CameraIntrinsics fisheye = camera(CameraModel::kb4);
  fisheye.fx = fisheye.fy = 1e8;  // brings the axis up to whole pixels
  fisheye.cx = fisheye.cy = 0.0;
  for (const float radius : {0.5e-8F, 1e-8F, std::nextafter(1e-8F, 1.0F), 2e-8F}) {
    EXPECT_FLOAT_EQ(project_ray(fisheye, radius, 0.0F).x, radius * 1e8F) << radius;
    EXPECT_FLOAT_EQ(project_ray(fisheye, 0.0F, -radius).y, -radius * 1e8F) << radius;
  }
}

TEST(ProjectRay, GivesTheOriginForUnknownModels) {
  for (const int model : {1, 3, -1}) {
    const ImagePosition position = project_ray(camera(static_cast<CameraModel>(model)), 0.5F, 0.5F);
    EXPECT_EQ(position.x, 0.0F);
    EXPECT_EQ(position.y, 0.0F);
  }
}

TEST(ProjectRay, KeepsRaysThatAreNoNumbersInvalid) {
  for (const CameraModel model : {CameraModel::pinhole, CameraModel::kb4}) {
    const CameraIntrinsics intrinsics = camera(model);
    EXPECT_FALSE(is_inside_source(intrinsics, project_ray(intrinsics, nan, nan)));
    EXPECT_FALSE(is_inside_source(intrinsics, project_ray(intrinsics, nan, 0.0F)));
    EXPECT_FALSE(is_inside_source(intrinsics, project_ray(intrinsics, 0.0F, nan)));
    EXPECT_FALSE(is_inside_source(intrinsics, project_ray(intrinsics, infinity, 0.0F)));
  }
}

TEST(IsInsideSource, IncludesBothEnds) {
  const CameraIntrinsics source = camera(CameraModel::kb4);
  EXPECT_TRUE(is_inside_source(source, {0.0F, 0.0F}));
  EXPECT_TRUE(is_inside_source(source, {-0.0F, -0.0F}));
  EXPECT_TRUE(is_inside_source(source, {1919.0F, 1439.0F}));
  EXPECT_TRUE(is_inside_source(source, {0.0F, 1439.0F}));
}

TEST(IsInsideSource, ExcludesTheNextFloatBeyondEachEnd) {
  const CameraIntrinsics source = camera(CameraModel::kb4);
  const float below = std::nextafter(0.0F, -1.0F);
  EXPECT_FALSE(is_inside_source(source, {below, 5.0F}));
  EXPECT_FALSE(is_inside_source(source, {5.0F, below}));
  EXPECT_FALSE(is_inside_source(source, {std::nextafter(1919.0F, infinity), 5.0F}));
  EXPECT_FALSE(is_inside_source(source, {5.0F, std::nextafter(1439.0F, infinity)}));
}

TEST(IsInsideSource, ExcludesWhatIsNotFinite) {
  const CameraIntrinsics source = camera(CameraModel::kb4);
  for (const float value : {nan, infinity, -infinity}) {
    EXPECT_FALSE(is_inside_source(source, {value, 5.0F})) << value;
    EXPECT_FALSE(is_inside_source(source, {5.0F, value})) << value;
  }
}

TEST(IsInsideSource, HoldsNothingWithoutPixels) {
  CameraIntrinsics source = camera(CameraModel::kb4);
  for (const std::int32_t size : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
    source.height = size;
    EXPECT_FALSE(is_inside_source(source, {0.0F, 0.0F})) << size;
  }
}

}  // namespace
}  // namespace veyrin::test
