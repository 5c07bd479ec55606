// Per-eye remap tables from the common rectified geometry to the recorded images.
#pragma once

#include <cstdint>
#include <string>

#include "metadata/recording_metadata.h"
#include "rectification/eye_map.h"

namespace veyrin {

struct RectificationMaps {
  EyeMap left;
  EyeMap right;
  std::uint32_t width = 0;  ///< rectified eye size in pixels
  std::uint32_t height = 0;
  double left_valid_fraction = 0.0;  ///< share of pixels with a source position, 0..1
  double right_valid_fraction = 0.0;
};

/// Builds both tables for the given rectified eye size and reports the valid shares on the console; false
/// with one message in `error` when the calibration cannot be used.
[[nodiscard]] bool build_rectification_maps(const RawDualTrackCalibration& calibration,
                                            std::int32_t eye_width, std::int32_t eye_height,
                                            RectificationMaps& maps, std::string& error);

}  // namespace veyrin
