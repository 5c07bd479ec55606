// From a conversion's geometry and options to the writer of its spatial movie.
#pragma once

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include "common/conversion_options.h"
#include "convert/eye_canvas.h"
#include "spatial/spatial_video_writer.h"

namespace veyrin {

/// What the movie says about its cameras. Width and focal length are those of the same pixel grid, whatever
/// size the eyes are written in.
struct RectifiedStereoGeometry {
  int left_width = 0;
  int right_width = 0;
  double left_focal_length = 0.0;  ///< pixels
  double right_focal_length = 0.0;
  std::array<float, 3> translation{};  ///< from one camera to the other, metres
  bool hdr = false;                    ///< the rectified pictures are 10-bit
};

struct DirectSpatialRequest {
  std::filesystem::path input;
  std::filesystem::path output;
  RectifiedStereoGeometry geometry;
  Size eye;  ///< as written, padding included
  AVRational frame_rate{30, 1};
  ColorTags input_colors;
  const AVStream* source_audio = nullptr;  ///< borrowed; null when there is none
};

/// Length of the translation between the cameras, in millimetres.
double camera_distance_mm(const RectifiedStereoGeometry& geometry);

/// Across the mean of both eyes, in degrees.
double horizontal_field_of_view_degrees(const RectifiedStereoGeometry& geometry);

/// Works out what the movie is made with; false with one message in `error` for a bit rate that is none.
[[nodiscard]] bool plan_direct_spatial(const DirectSpatialRequest& request, const ConversionOptions& options,
                                       SpatialWriterConfig& config, std::string& error);

/// Plans the movie, reports its geometry and creates its writer; null with one message in `error` on failure.
std::unique_ptr<SpatialVideoWriter> create_direct_spatial(const DirectSpatialRequest& request,
                                                          const ConversionOptions& options,
                                                          std::string& error);

}  // namespace veyrin
