#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "metadata/calibration_document.h"

namespace veyrin {
namespace {

using nlohmann::json;

constexpr std::string_view pinhole_model = "pinhole";
constexpr std::string_view polar_model = "kb_polar_spline";

std::string model_name(const json& entry) {
  return entry.value("cameraModel", std::string());
}

/// The first entry of that model; null when there is none.
const json* find_model(const json& list, std::string_view model) {
  for (const json& entry : list) {
    if (model_name(entry) == model) return &entry;
  }
  return nullptr;
}

/// The fisheye model if the list has it, else the pinhole model; null when there is neither.
const json* find_projection(const json& list) {
  const json* fisheye = find_model(list, "kb");
  return fisheye != nullptr ? fisheye : find_model(list, pinhole_model);
}

CameraIntrinsics read_intrinsics(const json& entry) {
  CameraIntrinsics intrinsics;
  intrinsics.width = integer_from<std::int32_t>(entry.at("width"));
  intrinsics.height = integer_from<std::int32_t>(entry.at("height"));
  intrinsics.fx = entry.at("fx").get<double>();
  intrinsics.fy = entry.at("fy").get<double>();
  intrinsics.cx = entry.at("cx").get<double>();
  intrinsics.cy = entry.at("cy").get<double>();
  if (model_name(entry) == pinhole_model) return intrinsics;
  intrinsics.model = CameraModel::kb4;
  intrinsics.k1 = entry.at("k1").get<double>();
  intrinsics.k2 = entry.at("k2").get<double>();
  intrinsics.k3 = entry.at("k3").get<double>();
  intrinsics.k4 = entry.at("k4").get<double>();
  return intrinsics;
}

/// Both coefficient arrays of an entry in one; each must have one value per grid node.
std::vector<float> read_coefficients(const json& first, const json& second, std::int64_t nodes) {
  const auto& first_values = first.get_ref<const json::array_t&>();
  const auto& second_values = second.get_ref<const json::array_t&>();
  if (std::cmp_not_equal(first_values.size(), nodes) || std::cmp_not_equal(second_values.size(), nodes)) {
    throw std::runtime_error("spline coefficient count does not match the grid");
  }
  std::vector<float> coefficients;
  coefficients.reserve(first_values.size() + second_values.size());
  for (const json& value : first_values) coefficients.push_back(value.get<float>());
  for (const json& value : second_values) coefficients.push_back(value.get<float>());
  return coefficients;
}

SplineIntrinsics read_spline(const json& entry) {
  SplineIntrinsics spline;
  spline.model_name = model_name(entry);
  spline.polar = spline.model_name == polar_model;
  spline.width = integer_from<std::int32_t>(entry.at("width"));
  spline.height = integer_from<std::int32_t>(entry.at("height"));
  const std::array<std::pair<const char*, float*>, 8> lens{{{"fx", &spline.fx},
                                                            {"fy", &spline.fy},
                                                            {"cx", &spline.cx},
                                                            {"cy", &spline.cy},
                                                            {"k1", &spline.k1},
                                                            {"k2", &spline.k2},
                                                            {"k3", &spline.k3},
                                                            {"k4", &spline.k4}}};
  for (const auto& [key, target] : lens) *target = entry.at(key).get<float>();
  const json& grid = entry.at("gridSize");
  spline.grid_cols = integer_from<std::int32_t>(grid.at(0));
  spline.grid_rows = integer_from<std::int32_t>(grid.at(1));
  spline.node_spacing_x = entry.at(spline.polar ? "nodeSpacingR" : "nodeSpacingX").get<float>();
  if (!spline.polar) spline.node_spacing_y = entry.at("nodeSpacingY").get<float>();
  spline.scaled_u = entry.value("scaledU", 1.0F);
  spline.scaled_v = entry.value("scaledV", 1.0F);
  const json& first = entry.at(spline.polar ? "sR" : "sX");
  const json& second = entry.at(spline.polar ? "sT" : "sY");
  // 64 bits hold the product of any two 32-bit counts.
  const std::int64_t nodes = std::int64_t{spline.grid_cols} * spline.grid_rows;
  spline.coefficients = read_coefficients(first, second, nodes);
  return spline;
}

}  // namespace

void read_lens_models(const json& left_list, const json& right_list, StereoCalibration& calibration) {
  const json* left = find_projection(left_list);
  const json* right = find_projection(right_list);
  if (left != nullptr && right != nullptr) {
    calibration.left_intrinsics = read_intrinsics(*left);
    calibration.right_intrinsics = read_intrinsics(*right);
    calibration.intrinsics_valid =
        calibration.left_intrinsics.width >= 1 && calibration.right_intrinsics.width >= 1;
  }
  for (const std::string_view model : {polar_model, std::string_view("kb_spline")}) {
    left = find_model(left_list, model);
    right = find_model(right_list, model);
    if (left == nullptr || right == nullptr) continue;
    calibration.left_spline = read_spline(*left);
    calibration.right_spline = read_spline(*right);
    return;
  }
}

}  // namespace veyrin
