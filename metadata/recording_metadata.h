// The metadata that is read once from a recording before any work starts.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "metadata/calibration.h"

struct AVFormatContext;

namespace veyrin {

struct RecordingMetadata {
  std::int32_t metadata_stream = -1;               ///< container stream index
  std::int32_t left_track = -1, right_track = -1;  ///< video-track numbers
  double duration_seconds = 0.0;                   ///< 0 when the container does not know it
  bool is_hdr = false;                             ///< by the colour tags of either eye
  StereoCalibration calibration;
  RawDualTrackCalibration raw_calibration;
};

/// Reads the recording's first calibration document. Opens and closes the input itself; false with one
/// message in `error` when anything is missing or malformed.
[[nodiscard]] bool read_recording_metadata(const std::filesystem::path& input, RecordingMetadata& metadata,
                                           std::string& error);

/// The index of the timed-metadata stream: the first data stream with that handler name, else the first data
/// stream with the codec tag "gpmd", else -1.
[[nodiscard]] int find_metadata_stream(const AVFormatContext& input);

}  // namespace veyrin
