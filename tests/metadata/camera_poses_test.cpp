// The poses of the two cameras, checked by the points that they take from one frame into another.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>

#include "metadata/calibration.h"
#include "metadata/calibration_document.h"
#include "tests/metadata/sample_document.h"
#include "tests/metadata/thrown_message.h"

namespace veyrin::test {
namespace {

using nlohmann::json;
using Point = std::array<double, 3>;

Point taken(const Pose& pose, const Point& p) {
  Point result{};
  for (std::size_t i = 0; i < 3; ++i) {
    result[i] = pose.plus_x[i] * p[0] + pose.y[i] * p[1] + pose.plus_z[i] * p[2] + pose.position[i];
  }
  return result;
}

Point taken(const Matrix4& m, const Point& p) {
  Point result{};
  for (std::size_t i = 0; i < 3; ++i) result[i] = m[i] * p[0] + m[4 + i] * p[1] + m[8 + i] * p[2] + m[12 + i];
  return result;
}

void expect_near(const Point& a, const Point& b) {
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], 2e-5) << "coordinate " << i;
}

/// A turn by `yaw` about y after one by `roll` about z.
Pose turned(double yaw, double roll, std::array<float, 3> position) {
  const auto at = [](double value) { return static_cast<float>(value); };
  Pose pose;
  pose.plus_x = {at(std::cos(yaw) * std::cos(roll)), at(std::sin(roll)), at(-std::sin(yaw) * std::cos(roll))};
  pose.plus_z = {at(std::sin(yaw)), 0.0F, at(std::cos(yaw))};
  pose.y = {at(-std::cos(yaw) * std::sin(roll)), at(std::cos(roll)), at(std::sin(yaw) * std::sin(roll))};
  pose.position = position;
  return pose;
}

json pose_object(const Pose& pose) {
  return {{"plus_x", pose.plus_x}, {"plus_z", pose.plus_z}, {"position", pose.position}};
}

const Pose camera1_in_camera0 = turned(0.03, -0.02, {0.064F, 0.001F, -0.002F});
const Pose head_in_front = turned(-0.4, 0.7, {0.5F, -0.25F, 0.125F});
const Pose camera0_in_front = turned(0.9, -1.2, {1.5F, 2.25F, -3.125F});
const Pose camera0_in_world = turned(2.1, 0.3, {10.0F, -20.0F, 30.0F});
const Point point{0.3, -0.7, 2.5};

json all_poses() {
  return {{"avcam1InAvcam0", pose_object(camera1_in_camera0)},
          {"headliveInFrontcam0", pose_object(head_in_front)},
          {"avcam0InFrontcam0", pose_object(camera0_in_front)},
          {"avcam0InWorld", pose_object(camera0_in_world)}};
}

StereoCalibration read(const json& extrinsics, int left_camera) {
  json document{{"pts", 0}, {"extrinsics", extrinsics}};
  for (const int camera : {0, 1}) {
    document["cameras"].push_back({{"sourceCamera", camera == left_camera ? "left" : "right"}});
  }
  return read_stereo_calibration(document, 0.0);
}

TEST(CameraPoses, TakesTheLeftCamerasFrameAsThatOfCamera0) {
  const StereoCalibration calibration = read(all_poses(), 0);
  ASSERT_TRUE(calibration.has_stereo_extrinsic);
  expect_near(taken(calibration.stereo_extrinsic, point), taken(camera1_in_camera0, point));
  ASSERT_TRUE(calibration.has_head_chain);
  expect_near(taken(head_in_front, taken(calibration.head_chain, point)), taken(camera0_in_front, point));
  ASSERT_TRUE(calibration.has_world_pose);
  expect_near(taken(calibration.left_in_world, point), taken(camera0_in_world, point));
  expect_near(taken(calibration.right_in_world, point),
              taken(camera0_in_world, taken(camera1_in_camera0, point)));
}

TEST(CameraPoses, TurnsEverythingRoundWhenTheLeftCameraIsCamera1) {
  const StereoCalibration calibration = read(all_poses(), 1);
  ASSERT_TRUE(calibration.has_stereo_extrinsic);
  expect_near(taken(camera1_in_camera0, taken(calibration.stereo_extrinsic, point)), point);
  ASSERT_TRUE(calibration.has_head_chain);
  expect_near(taken(head_in_front, taken(calibration.head_chain, point)),
              taken(camera0_in_front, taken(camera1_in_camera0, point)));
  ASSERT_TRUE(calibration.has_world_pose);
  expect_near(taken(calibration.left_in_world, point),
              taken(camera0_in_world, taken(camera1_in_camera0, point)));
  expect_near(taken(calibration.right_in_world, point), taken(camera0_in_world, point));
}

TEST(CameraPoses, NeedsThePoseOfCamera1OnlyWhenThatIsTheLeftOne) {
  json extrinsics = all_poses();
  extrinsics.erase("avcam1InAvcam0");
  const StereoCalibration left_first = read(extrinsics, 0);
  EXPECT_FALSE(left_first.has_stereo_extrinsic);
  EXPECT_TRUE(left_first.has_head_chain);
  const StereoCalibration swapped = read(extrinsics, 1);
  EXPECT_FALSE(swapped.has_stereo_extrinsic);
  EXPECT_FALSE(swapped.has_head_chain);
  ASSERT_TRUE(swapped.has_world_pose);
  EXPECT_EQ(swapped.left_in_world, swapped.right_in_world);
}

TEST(CameraPoses, NeedsBothPosesForTheHeadChain) {
  for (const char* key : {"headliveInFrontcam0", "avcam0InFrontcam0"}) {
    json extrinsics = all_poses();
    extrinsics.erase(key);
    EXPECT_FALSE(read(extrinsics, 0).has_head_chain) << key;
    EXPECT_TRUE(read(extrinsics, 0).has_stereo_extrinsic) << key;
  }
}

TEST(CameraPoses, ReadsNothingFromWhatIsNoObject) {
  for (const json& extrinsics : {json(1), json::array({"avcam1InAvcam0"}), json(nullptr), json::object()}) {
    const StereoCalibration calibration = read(extrinsics, 0);
    EXPECT_FALSE(calibration.has_stereo_extrinsic) << extrinsics;
    EXPECT_FALSE(calibration.has_head_chain) << extrinsics;
    EXPECT_FALSE(calibration.has_world_pose) << extrinsics;
  }
}

TEST(CameraPoses, DerivesTheThirdAxisWithoutNormalising) {
  const json extrinsics = {
      {"avcam1InAvcam0", {{"plus_x", {1, 2, 3}}, {"plus_z", {4, 5, 7}}, {"position", {0, 0, 0}}}}};
  const Pose pose = read(extrinsics, 0).stereo_extrinsic;
  EXPECT_EQ(pose.plus_x, (std::array{1.0F, 2.0F, 3.0F}));
  EXPECT_EQ(pose.y, (std::array{1.0F, -5.0F, 3.0F}));
  EXPECT_EQ(pose.plus_z, (std::array{4.0F, 5.0F, 7.0F}));
}

TEST(CameraPoses, RefusesMalformedPoses) {
  for (const char* pose : {"avcam1InAvcam0", "headliveInFrontcam0", "avcam0InFrontcam0", "avcam0InWorld"}) {
    const auto message_with = [&](const char* key, const json& value) {
      json document = complete_document();
      document["extrinsics"][pose][key] = value;
      return thrown_message([&] { (void)read_stereo_calibration(document, 0.0); });
    };
    EXPECT_EQ(message_with("plus_x", {1, 2}),
              "[json.exception.out_of_range.401] array index 2 is out of range")
        << pose;
    EXPECT_EQ(message_with("plus_z", 1), "[json.exception.type_error.304] cannot use at() with number")
        << pose;
    EXPECT_EQ(message_with("position", {1, "2", 3}),
              "[json.exception.type_error.302] type must be number, but is string")
        << pose;
    json document = complete_document();
    document["extrinsics"][pose].erase("position");
    EXPECT_EQ(thrown_message([&] { (void)read_stereo_calibration(document, 0.0); }),
              "[json.exception.out_of_range.403] key 'position' not found")
        << pose;
  }
}

TEST(Pose, BecomesAColumnMajorMatrix) {
  Pose pose;
  pose.plus_x = {1, 2, 3};
  pose.y = {4, 5, 6};
  pose.plus_z = {7, 8, 9};
  pose.position = {10, 11, 12};
  EXPECT_EQ(to_matrix(pose), (Matrix4{1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 1}));
}

TEST(Vector, HasTheSameAlgebraInBothPrecisions) {
  EXPECT_EQ(length(std::array{2.0F, -3.0F, 6.0F}), 7.0F);
  EXPECT_EQ(length(std::array{2.0, -3.0, 6.0}), 7.0);
  EXPECT_EQ(cross_product(std::array{1.0F, 2.0F, 3.0F}, std::array{4.0F, 5.0F, 7.0F}),
            (std::array{-1.0F, 5.0F, -3.0F}));
  EXPECT_EQ(cross_product(std::array{1.0, 2.0, 3.0}, std::array{4.0, 5.0, 7.0}),
            (std::array{-1.0, 5.0, -3.0}));
}

}  // namespace
}  // namespace veyrin::test
