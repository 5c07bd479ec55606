#include "spatial/direct_spatial.h"

#include <cmath>

#include "common/console.h"
#include "metadata/pose.h"
#include "spatial/spatial_bitrate.h"

namespace veyrin {
namespace {

constexpr double degrees_per_radian = 57.29577951308232;
constexpr double millimetres_per_metre = 1000.0;

}  // namespace

double camera_distance_mm(const RectifiedStereoGeometry& geometry) {
  return static_cast<double>(length(geometry.translation)) * millimetres_per_metre;
}

double horizontal_field_of_view_degrees(const RectifiedStereoGeometry& geometry) {
  const double width = (geometry.left_width + geometry.right_width) * 0.5;
  const double focal_length = (geometry.left_focal_length + geometry.right_focal_length) * 0.5;
  return 2.0 * std::atan(width / (2.0 * focal_length)) * degrees_per_radian;
}

bool plan_direct_spatial(const DirectSpatialRequest& request, const ConversionOptions& options,
                         SpatialWriterConfig& config, std::string& error) {
  const bool hdr = request.geometry.hdr;
  config = {};
  if (!parse_spatial_bitrate(hdr ? options.hdr_bitrate : options.sdr_bitrate, config.bit_rate, error))
    return false;
  config.companion_path = request.input;
  config.output_path = request.output;
  config.width = static_cast<std::uint32_t>(request.eye.width);
  config.height = static_cast<std::uint32_t>(request.eye.height);
  config.frame_rate = request.frame_rate;
  config.camera_distance_mm = camera_distance_mm(request.geometry);
  config.horizontal_field_of_view_degrees = horizontal_field_of_view_degrees(request.geometry);
  config.start_seconds = options.start;
  config.duration_seconds = options.duration;
  config.colors = encoder_colors(request.input_colors, hdr);
  if (request.source_audio != nullptr) {
    config.audio_parameters = request.source_audio->codecpar;
    config.audio_time_base = request.source_audio->time_base;
  }
  config.ten_bit = hdr;
  return true;
}

std::unique_ptr<SpatialVideoWriter> create_direct_spatial(const DirectSpatialRequest& request,
                                                          const ConversionOptions& options,
                                                          std::string& error) {
  SpatialWriterConfig config;
  if (!plan_direct_spatial(request, options, config, error)) return nullptr;
  console_line("Creating direct spatial output with cdist=%.3f mm, hfov=%.3f deg", config.camera_distance_mm,
               config.horizontal_field_of_view_degrees);
  return create_spatial_video_writer(config, error);
}

}  // namespace veyrin
