#include "tests/metadata/sample_document.h"

#include <string_view>

namespace veyrin::test {

using nlohmann::json;

json complete_document() {
  return json::parse(R"({
    "pts": 12.5,
    "nominalFps": 59.94,
    "recordingMode": "raw-dual-track-v1",
    "cameras": [
      {"sourceCamera": "left", "track": 0, "midExpTs": 12.501, "temp": 41.5,
       "intrinsics": [{"cameraModel": "kb", "width": 1920, "height": 1440, "fx": 801.5, "fy": 802.5,
                       "cx": 960.25, "cy": 719.75, "k1": 0.01, "k2": -0.002, "k3": 0.0003, "k4": -0.00004}]},
      {"sourceCamera": "right", "track": 1, "midExpTs": 12.502, "temp": 42.25,
       "intrinsics": [{"cameraModel": "kb", "width": 1912, "height": 1436, "fx": 803.5, "fy": 804.5,
                       "cx": 955.25, "cy": 717.75, "k1": 0.02, "k2": -0.003, "k3": 0.0004, "k4": -0.00005}]}
    ],
    "extrinsics": {
      "avcam1InAvcam0": {"plus_x": [0, 0, -1], "plus_z": [1, 0, 0], "position": [0.064, 0.001, -0.002]},
      "headliveInFrontcam0": {"plus_x": [0, 1, 0], "plus_z": [0, 0, 1], "position": [0.5, 0.25, 0.125]},
      "avcam0InFrontcam0": {"plus_x": [1, 0, 0], "plus_z": [0, 0, 1], "position": [1.5, 2.25, 3.125]},
      "avcam0InWorld": {"plus_x": [0, 1, 0], "plus_z": [0, 0, 1], "position": [10, 20, 30]}
    },
    "segment": {"id": 5000000000, "start": true, "discontinuity": true, "stabilizationReset": "hard"},
    "headliveVelocityInWorld": {"angular": [0.1, 0.2, 0.3], "linear": [1, 2, 3]}
  })");
}

json spline_entry(const char* model, double first_coefficient) {
  json entry = json::parse(R"({"width": 640, "height": 480, "fx": 1.5, "fy": 2.5, "cx": 3.5, "cy": 4.5,
                               "k1": 0.1, "k2": 0.2, "k3": 0.3, "k4": 0.4, "gridSize": [3, 4],
                               "scaledU": 2.0, "scaledV": 3.0})");
  entry["cameraModel"] = model;
  json first = json::array();
  json second = json::array();
  for (int node = 0; node < 12; ++node) {
    first.push_back(first_coefficient + node);
    second.push_back(first_coefficient + 100 + node);
  }
  if (std::string_view(model) == "kb_polar_spline") {
    entry["nodeSpacingR"] = 0.25;
    entry["sR"] = first;
    entry["sT"] = second;
  } else {
    entry["nodeSpacingX"] = 0.5;
    entry["nodeSpacingY"] = 0.75;
    entry["sX"] = first;
    entry["sY"] = second;
  }
  return entry;
}

}  // namespace veyrin::test
