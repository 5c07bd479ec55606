#include "convert/conversion_plan.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "convert/encoder_settings.h"
#include "convert/frame_timing.h"
#include "convert/sbs_stereo_metadata.h"
#include "media/movie_file.h"
#include "rectification/rectified_geometry.h"

extern "C" {
#include <libavutil/common.h>
}

namespace veyrin {
namespace {

Size pad_to_ratio(Size eye, std::int64_t ratio_width, std::int64_t ratio_height) {
  const auto divide_up = [](std::int64_t value, std::int64_t by) { return (value + by - 1) / by; };
  std::int64_t unit = std::max(divide_up(eye.width, ratio_width), divide_up(eye.height, ratio_height));
  unit += unit % 2;
  // A canvas past the integer range is refused by every encoder; until then it must not wrap round.
  return {av_clipl_int32(ratio_width * unit), av_clipl_int32(ratio_height * unit)};
}

/// How the eyes lie on each canvas; both canvases of a spatial movie have the size of one eye.
OutputLayout first_layout(const ConversionOptions& options) {
  switch (conversion_kind(options)) {
    case ConversionKind::sbs:
      return options.sbs_mode == SbsMode::half ? OutputLayout::half_sbs : OutputLayout::full_sbs;
    case ConversionKind::mono_right:
      return OutputLayout::mono_right;
    case ConversionKind::mono_left:
    case ConversionKind::spatial:
      break;
  }
  return OutputLayout::mono_left;
}

CanvasMoviePlan plan_canvas_movie(const ConversionJob& job, const ConversionOptions& options,
                                  const std::string& bitrate) {
  // Only a side-by-side picture is stereo by itself.
  const bool stereo = options.output_format == OutputFormat::sbs;
  CanvasMoviePlan movie;
  movie.layout = first_layout(options);
  movie.codec = options.sbs_codec;
  movie.bitrate = bitrate;
  movie.container = choose_container(job.output, encoder_codec_id(options.sbs_codec));
  movie.st3d = stereo && wants_st3d(options.sbs_spatial_metadata);
  movie.frame_packing_sei = stereo && wants_frame_packing_sei(options.sbs_spatial_metadata);
  return movie;
}

SpatialMoviePlan plan_spatial_movie(const RawDualTrackCalibration& calibration, const std::string& bitrate) {
  const RectifiedView view = rectified_view(calibration);
  SpatialMoviePlan movie;
  movie.geometry.left_width = movie.geometry.right_width = view.size.width;
  movie.geometry.left_focal_length = movie.geometry.right_focal_length = view.focal_length_x;
  movie.geometry.translation = calibration.stereo_extrinsic.position;
  movie.bitrate = bitrate;
  return movie;
}

}  // namespace

Size requested_eye_size(const ConversionOptions& options, Size native) {
  return {options.eye_width.value_or(native.width), options.eye_height.value_or(native.height)};
}

Size padded_eye_size(Size requested, AspectPadding padding) {
  switch (padding) {
    case AspectPadding::none:
      break;
    case AspectPadding::ratio_4x3:
      return pad_to_ratio(requested, 4, 3);
    case AspectPadding::ratio_16x9:
      return pad_to_ratio(requested, 16, 9);
  }
  return requested;
}

Size planned_movie_size(const ConversionOptions& options, Size requested) {
  return canvas_size(first_layout(options), padded_eye_size(requested, options.sbs_aspect_ratio_padding));
}

ConversionPlan make_conversion_plan(const ConversionJob& job, const RecordingMetadata& metadata,
                                    const ConversionOptions& options, const InputFacts& facts) {
  const CameraIntrinsics& native = metadata.raw_calibration.left_intrinsics;
  const std::string& bitrate = facts.depth == BitDepth::ten ? options.hdr_bitrate : options.sdr_bitrate;

  ConversionPlan plan;
  plan.files = {job.input, job.output, options.overwrite, facts.has_audio};
  plan.timing.range = {options.start, options.duration};
  plan.timing.input_rate = facts.rate;
  plan.timing.output_rate = choose_output_rate(options.output_fps, facts.rate);
  plan.timing.container_start_seconds = facts.container_start_seconds;
  plan.timing.span_seconds = convertible_seconds(plan.timing.range, metadata.duration_seconds);
  plan.picture.eye = requested_eye_size(options, {native.width, native.height});
  plan.picture.eye_box = padded_eye_size(plan.picture.eye, options.sbs_aspect_ratio_padding);
  plan.picture.depth = facts.depth;
  plan.picture.rate = plan.timing.output_rate;
  plan.picture.input_colors = facts.colors;
  plan.software = options.software;
  if (options.output_format == OutputFormat::spatial)
    plan.movie = plan_spatial_movie(metadata.raw_calibration, bitrate);
  else
    plan.movie = plan_canvas_movie(job, options, bitrate);
  return plan;
}

}  // namespace veyrin
