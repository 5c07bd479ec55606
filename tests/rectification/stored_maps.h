// Whole rectification maps in memory, for tests that look at single entries or make maps of their own.
#pragma once

#include <string>
#include <vector>

#include "rectification/rectification_maps.h"

namespace veyrin::test {

/// Row-major: entry row * width + column.
struct StoredMap {
  Size size;
  std::vector<float> map_x;
  std::vector<float> map_y;

  /// A map with a copy of the entries; each with an x of 0 or more counts as valid.
  operator EyeMap() const;  // NOLINT(google-explicit-constructor)
};

struct StoredMaps {
  StoredMap left;
  StoredMap right;
  double left_valid_fraction = 0.0;
  double right_valid_fraction = 0.0;

  operator RectificationMaps() const { return {left, right}; }  // NOLINT(google-explicit-constructor)
};

/// Reads all of a map, in pieces that do not divide its width; nothing of one without pixels.
StoredMap stored(const EyeMap& map, double* valid_fraction = nullptr);
StoredMaps stored(const RectificationMaps& maps);

/// Builds and reads all of both maps.
[[nodiscard]] bool build_stored_maps(const RawDualTrackCalibration& calibration, Size eye, StoredMaps& maps,
                                     std::string& error);

}  // namespace veyrin::test
