// What a spatial movie is made with, and what its geometry tells players.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>

#include "media/video_types.h"

struct AVCodecParameters;

namespace veyrin {

/// The cameras of a rectified recording. Width and focal length are those of the same pixel grid, whatever
/// size the eyes are written in.
struct RectifiedStereoGeometry {
  std::int32_t left_width = 0;
  std::int32_t right_width = 0;
  double left_focal_length = 0.0;  ///< pixels
  double right_focal_length = 0.0;
  std::array<float, 3> translation{};  ///< from one camera to the other, metres
};

/// Length of the translation between the cameras, in millimetres.
double camera_distance_mm(const RectifiedStereoGeometry& geometry);

/// Across the mean of both eyes, in degrees.
double horizontal_field_of_view_degrees(const RectifiedStereoGeometry& geometry);

struct SpatialWriterConfig {
  std::filesystem::path companion_path;  ///< the recording; carried along, not read by the writer
  std::filesystem::path output_path;
  Size eye;  ///< as written, padding included
  FrameRate frame_rate{30, 1};
  std::int64_t bit_rate = 0;        ///< of both views together, bits per second
  double camera_distance_mm = 0.0;  ///< between the two lenses
  double horizontal_field_of_view_degrees = 0.0;
  TimeRange range;   ///< carried along: what the writer is given is trimmed already
  ColorTags colors;  ///< defaults filled in
  const AVCodecParameters* audio_parameters = nullptr;  ///< borrowed until the writer is open; null: no sound
  AVRational audio_time_base{0, 1};
  BitDepth depth = BitDepth::eight;
};

}  // namespace veyrin
