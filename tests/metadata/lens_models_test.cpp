#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "metadata/calibration_document.h"
#include "tests/metadata/sample_document.h"
#include "tests/metadata/thrown_message.h"

namespace veyrin::test {
namespace {

using nlohmann::json;

json fisheye_entry(int width) {
  return {{"cameraModel", "kb"}, {"width", width}, {"height", 480}, {"fx", 100.5},
          {"fy", 101.5},         {"cx", 320.25},   {"cy", 240.75},  {"k1", 0.1},
          {"k2", 0.2},           {"k3", 0.3},      {"k4", 0.4}};
}

json pinhole_entry(int width) {
  return {{"cameraModel", "pinhole"},
          {"width", width},
          {"height", 481},
          {"fx", 200.5},
          {"fy", 201.5},
          {"cx", 321.25},
          {"cy", 241.75}};
}

/// A camera's list of lens models.
template <typename... Entries>
json list_of(const Entries&... entries) {
  return json::array({json(entries)...});
}

StereoCalibration read(const json& left, const json& right) {
  StereoCalibration calibration;
  read_lens_models(left, right, calibration);
  return calibration;
}

std::string message_for(const json& left, const json& right) {
  return thrown_message([&] { (void)read(left, right); });
}

TEST(LensModels, ReadsFisheyeIntrinsicsOfBothCameras) {
  const StereoCalibration calibration = read(list_of(fisheye_entry(640)), list_of(fisheye_entry(642)));
  EXPECT_TRUE(calibration.intrinsics_valid);
  const CameraIntrinsics& left = calibration.left_intrinsics;
  EXPECT_EQ(left.model, CameraModel::kb4);
  EXPECT_EQ(left.width, 640);
  EXPECT_EQ(left.height, 480);
  EXPECT_EQ(left.fx, 100.5);
  EXPECT_EQ(left.fy, 101.5);
  EXPECT_EQ(left.cx, 320.25);
  EXPECT_EQ(left.cy, 240.75);
  EXPECT_EQ(left.k1, 0.1);
  EXPECT_EQ(left.k2, 0.2);
  EXPECT_EQ(left.k3, 0.3);
  EXPECT_EQ(left.k4, 0.4);
  EXPECT_EQ(calibration.right_intrinsics.width, 642);
}

TEST(LensModels, ReadsPinholeIntrinsicsWithoutCoefficients) {
  const StereoCalibration calibration = read(list_of(pinhole_entry(640)), list_of(fisheye_entry(640)));
  EXPECT_TRUE(calibration.intrinsics_valid);
  EXPECT_EQ(calibration.left_intrinsics.model, CameraModel::pinhole);
  EXPECT_EQ(calibration.left_intrinsics.k1, 0.0);
  EXPECT_EQ(calibration.left_intrinsics.k4, 0.0);
  EXPECT_EQ(calibration.right_intrinsics.model, CameraModel::kb4);
}

TEST(LensModels, PrefersFisheyeWhereverItStands) {
  const json list = {pinhole_entry(1), spline_entry("kb_spline", 0), fisheye_entry(2), fisheye_entry(3)};
  const StereoCalibration calibration = read(list, list);
  EXPECT_EQ(calibration.left_intrinsics.width, 2);
  EXPECT_EQ(calibration.right_intrinsics.width, 2);
}

TEST(LensModels, ReadsNothingUnlessBothCamerasHaveAModel) {
  for (const json& other :
       {json::array(), json::array({json{{"cameraModel", "KB"}}}), json::array({json::object()}),
        json::array({spline_entry("kb_spline", 0)}), json(nullptr)}) {
    EXPECT_FALSE(read(list_of(fisheye_entry(640)), other).intrinsics_valid) << other;
    EXPECT_FALSE(read(other, list_of(fisheye_entry(640))).intrinsics_valid) << other;
    EXPECT_EQ(read(list_of(fisheye_entry(640)), other).left_intrinsics.width, -1) << other;
  }
}

TEST(LensModels, CallsIntrinsicsWithoutWidthInvalid) {
  for (const int width : {0, -5}) {
    EXPECT_FALSE(read(list_of(fisheye_entry(width)), list_of(fisheye_entry(640))).intrinsics_valid);
    EXPECT_FALSE(read(list_of(fisheye_entry(640)), list_of(fisheye_entry(width))).intrinsics_valid);
  }
}

TEST(LensModels, NamesMissingKeysOfIntrinsics) {
  for (const char* key : {"width", "height", "fx", "fy", "cx", "cy", "k1", "k2", "k3", "k4"}) {
    json entry = fisheye_entry(640);
    entry.erase(key);
    EXPECT_EQ(message_for(list_of(fisheye_entry(640)), list_of(entry)),
              "[json.exception.out_of_range.403] key '" + std::string(key) + "' not found");
  }
}

TEST(LensModels, AsksForNumbersAndObjects) {
  json entry = fisheye_entry(640);
  entry["k2"] = "0";
  EXPECT_EQ(message_for(list_of(entry), list_of(entry)),
            "[json.exception.type_error.302] type must be number, but is string");
  EXPECT_EQ(message_for(list_of(5), list_of(entry)),
            "[json.exception.type_error.306] cannot use value() with number");
  EXPECT_EQ(message_for("kb", list_of(entry)),
            "[json.exception.type_error.306] cannot use value() with string");
  EXPECT_EQ(message_for(list_of(json{{"cameraModel", 1}}), list_of(entry)),
            "[json.exception.type_error.302] type must be string, but is number");
}

TEST(LensModels, StoresTheCartesianSpline) {
  const StereoCalibration calibration = read(list_of(fisheye_entry(640), spline_entry("kb_spline", 0)),
                                             list_of(spline_entry("kb_spline", 1000)));
  EXPECT_FALSE(calibration.intrinsics_valid);
  const SplineIntrinsics& left = calibration.left_spline;
  EXPECT_EQ(left.model_name, "kb_spline");
  EXPECT_FALSE(left.polar);
  EXPECT_EQ(left.width, 640);
  EXPECT_EQ(left.height, 480);
  EXPECT_EQ(left.fx, 1.5F);
  EXPECT_EQ(left.fy, 2.5F);
  EXPECT_EQ(left.cx, 3.5F);
  EXPECT_EQ(left.cy, 4.5F);
  EXPECT_EQ(left.k1, 0.1F);
  EXPECT_EQ(left.k2, 0.2F);
  EXPECT_EQ(left.k3, 0.3F);
  EXPECT_EQ(left.k4, 0.4F);
  EXPECT_EQ(left.grid_cols, 3);
  EXPECT_EQ(left.grid_rows, 4);
  EXPECT_EQ(left.node_spacing_x, 0.5F);
  EXPECT_EQ(left.node_spacing_y, 0.75F);
  EXPECT_EQ(left.scaled_u, 2.0F);
  EXPECT_EQ(left.scaled_v, 3.0F);
  ASSERT_EQ(left.coefficients.size(), 24U);
  for (std::size_t node = 0; node < 12; ++node) {
    EXPECT_EQ(left.coefficients[node], static_cast<float>(node));
    EXPECT_EQ(left.coefficients[12 + node], static_cast<float>(100 + node));
  }
  EXPECT_EQ(calibration.right_spline.coefficients.front(), 1000.0F);
}

TEST(LensModels, PrefersThePolarSpline) {
  const json both = {spline_entry("kb_spline", 0), spline_entry("kb_polar_spline", 50)};
  const StereoCalibration calibration = read(both, both);
  EXPECT_TRUE(calibration.left_spline.polar);
  EXPECT_EQ(calibration.left_spline.model_name, "kb_polar_spline");
  EXPECT_EQ(calibration.left_spline.node_spacing_x, 0.25F);
  EXPECT_EQ(calibration.left_spline.node_spacing_y, 0.0F);
  EXPECT_EQ(calibration.right_spline.coefficients.front(), 50.0F);
}

TEST(LensModels, TakesTheSplineThatBothCamerasHave) {
  const json both = {spline_entry("kb_spline", 7), spline_entry("kb_polar_spline", 50)};
  const StereoCalibration calibration = read(both, list_of(spline_entry("kb_spline", 8)));
  EXPECT_FALSE(calibration.left_spline.polar);
  EXPECT_EQ(calibration.left_spline.coefficients.front(), 7.0F);
  EXPECT_EQ(calibration.right_spline.coefficients.front(), 8.0F);
  EXPECT_TRUE(read(list_of(spline_entry("kb_polar_spline", 1)), list_of(spline_entry("kb_spline", 1)))
                  .left_spline.model_name.empty());
}

TEST(LensModels, ScalesSplinesByOneUnlessTold) {
  json entry = spline_entry("kb_spline", 0);
  entry.erase("scaledU");
  entry.erase("scaledV");
  const StereoCalibration calibration = read(list_of(entry), list_of(entry));
  EXPECT_EQ(calibration.left_spline.scaled_u, 1.0F);
  EXPECT_EQ(calibration.left_spline.scaled_v, 1.0F);
}

TEST(LensModels, RefusesSplineCoefficientsThatDoNotFillTheGrid) {
  constexpr const char* mismatch = "spline coefficient count does not match the grid";
  for (const char* key : {"sX", "sY"}) {
    json entry = spline_entry("kb_spline", 0);
    entry[key].push_back(1);
    EXPECT_EQ(message_for(list_of(entry), list_of(entry)), mismatch) << key;
    entry[key] = json::array();
    EXPECT_EQ(message_for(list_of(entry), list_of(entry)), mismatch) << key;
  }
  // Products that overflow 32 bits, down to the 12 that the arrays have.
  for (const json& grid : {json{3, 5}, json{65536, 65536}, json{2147483647, 2147483647}, json{-3, 4},
                           json{1431655766, 6}, json{1e300, 1e300}, json{0, 0}}) {
    json entry = spline_entry("kb_polar_spline", 0);
    entry["gridSize"] = grid;
    EXPECT_EQ(message_for(list_of(entry), list_of(entry)), mismatch) << grid;
  }
}

TEST(LensModels, NamesMissingKeysOfSplines) {
  for (const char* key : {"width", "height", "fx", "fy", "cx", "cy", "k1", "k2", "k3", "k4", "gridSize",
                          "nodeSpacingX", "nodeSpacingY", "sX", "sY"}) {
    json entry = spline_entry("kb_spline", 0);
    entry.erase(key);
    EXPECT_EQ(message_for(list_of(entry), list_of(entry)),
              "[json.exception.out_of_range.403] key '" + std::string(key) + "' not found");
  }
  for (const char* key : {"nodeSpacingR", "sR", "sT"}) {
    json entry = spline_entry("kb_polar_spline", 0);
    entry.erase(key);
    EXPECT_EQ(message_for(list_of(entry), list_of(entry)),
              "[json.exception.out_of_range.403] key '" + std::string(key) + "' not found");
  }
}

struct BrokenValue {
  const char* key;
  json value;
  const char* message;
};

TEST(LensModels, PassesTheJsonLibrarysErrorsOfSplinesOn) {
  const BrokenValue cases[] = {
      {"gridSize", 3, "[json.exception.type_error.304] cannot use at() with number"},
      {"gridSize", {3}, "[json.exception.out_of_range.401] array index 1 is out of range"},
      {"gridSize", {3, "4"}, "[json.exception.type_error.302] type must be number, but is string"},
      {"scaledU", "1", "[json.exception.type_error.302] type must be number, but is string"},
      {"sX", 3,
       "[json.exception.type_error.303] incompatible ReferenceType for get_ref, actual type is number"},
      {"nodeSpacingX", nullptr, "[json.exception.type_error.302] type must be number, but is null"},
  };
  for (const BrokenValue& c : cases) {
    json entry = spline_entry("kb_spline", 0);
    entry[c.key] = c.value;
    EXPECT_EQ(message_for(list_of(entry), list_of(entry)), c.message) << c.key;
  }
  json entry = spline_entry("kb_spline", 0);
  entry["sY"][11] = "1";
  EXPECT_EQ(message_for(list_of(entry), list_of(entry)),
            "[json.exception.type_error.302] type must be number, but is string");
}

}  // namespace
}  // namespace veyrin::test
