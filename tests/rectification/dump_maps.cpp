// Writes the remap tables of a calibration as raw floats, for the comparison with other implementations.
#include <cstdio>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/rectification/stored_maps.h"

namespace {

using nlohmann::json;

veyrin::CameraIntrinsics intrinsics_from(const json& values) {
  veyrin::CameraIntrinsics intrinsics;
  intrinsics.model = veyrin::CameraModel::kb4;
  intrinsics.width = values.at("width");
  intrinsics.height = values.at("height");
  intrinsics.fx = values.at("fx");
  intrinsics.fy = values.at("fy");
  intrinsics.cx = values.at("cx");
  intrinsics.cy = values.at("cy");
  intrinsics.k1 = values.at("k").at(0);
  intrinsics.k2 = values.at("k").at(1);
  intrinsics.k3 = values.at("k").at(2);
  intrinsics.k4 = values.at("k").at(3);
  return intrinsics;
}

void write(std::ofstream& file, const std::vector<float>& values) {
  file.write(reinterpret_cast<const char*>(values.data()),
             static_cast<std::streamsize>(values.size() * sizeof(float)));
}

int dump_maps(const char* case_file, const char* output) {
  json values;
  std::ifstream(case_file) >> values;
  veyrin::RawDualTrackCalibration calibration;
  calibration.valid = true;
  calibration.left_intrinsics = intrinsics_from(values.at("left"));
  calibration.right_intrinsics = intrinsics_from(values.at("right"));
  calibration.stereo_extrinsic.plus_x = values.at("plus_x");
  calibration.stereo_extrinsic.y = values.at("y");
  calibration.stereo_extrinsic.plus_z = values.at("plus_z");
  calibration.stereo_extrinsic.position = values.at("position");

  veyrin::test::StoredMaps maps;
  std::string error;
  const veyrin::Size eye{values.at("eye_width"), values.at("eye_height")};
  if (!veyrin::test::build_stored_maps(calibration, eye, maps, error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  std::ofstream file(output, std::ios::binary);
  for (const veyrin::test::StoredMap* map : {&maps.left, &maps.right}) {
    write(file, map->map_x);
    write(file, map->map_y);
  }
  return file.good() ? 0 : 1;
}

}  // namespace

/// dump_maps CASE.json OUTPUT: left x, left y, right x, right y.
int main(int argc, char** argv) {
  if (argc != 3) return 2;
  try {
    return dump_maps(argv[1], argv[2]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}
