#include "convert/movie_requests.h"

#include <utility>

#include "convert/output_container.h"
#include "convert/sbs_stereo_metadata.h"
#include "convert/st3d_remux.h"
#include "rectification/rectified_geometry.h"

namespace veyrin {
namespace {

AVRational output_rate(const ConversionPlan& plan) {
  return {plan.output_rate.numerator, plan.output_rate.denominator};
}

// Only a side-by-side picture is stereo by itself.
bool wants_container_stereo(const ConversionPlan& plan) {
  return plan.job.kind == ConversionKind::sbs && wants_st3d(plan.options.sbs_spatial_metadata);
}

}  // namespace

EncoderRequest encoder_request(const ConversionPlan& plan) {
  const ConversionOptions& options = plan.options;
  EncoderRequest request;
  request.codec = options.sbs_codec;
  request.mode = options.sbs_mode;
  request.mono = plan.job.kind != ConversionKind::sbs;
  request.ten_bit = plan.ten_bit;
  request.software = options.software;
  request.canvas = plan.canvas;
  request.frame_rate = output_rate(plan);
  request.sdr_bitrate = options.sdr_bitrate;
  request.hdr_bitrate = options.hdr_bitrate;
  request.input_colors = plan.input_colors;
  request.global_header = plan.container != nullptr && (plan.container->flags & AVFMT_GLOBALHEADER) != 0;
  return request;
}

EncodedMovieRequest encoded_movie_request(const ConversionPlan& plan, SelectedEncoder& selected) {
  EncodedMovieRequest request;
  request.output = plan.job.output;
  request.container = plan.container;
  request.encoder = std::move(selected.context);
  request.source_audio = plan.source_audio;
  request.st3d = wants_container_stereo(plan);
  request.frame_packing_sei =
      plan.job.kind == ConversionKind::sbs && wants_frame_packing_sei(plan.options.sbs_spatial_metadata);
  return request;
}

SoftwareEncodeRequest software_encode_request(const ConversionPlan& plan, const SelectedEncoder& selected) {
  const AVCodecContext& settings = *selected.context;
  const ConversionOptions& options = plan.options;
  SoftwareEncodeRequest request;
  request.input = plan.job.input;
  request.output = plan.job.output;
  request.width = settings.width;
  request.height = settings.height;
  request.frame_rate = settings.framerate;
  request.bit_rate = settings.bit_rate;
  request.start_seconds = options.start;
  request.duration_seconds = options.duration.value_or(0.0);
  request.primaries = settings.color_primaries;
  request.transfer = settings.color_trc;
  request.matrix = settings.colorspace;
  request.range = settings.color_range;
  request.has_duration = options.duration.has_value();
  request.has_audio = plan.source_audio != nullptr;
  request.overwrite = options.overwrite;
  request.ten_bit = plan.ten_bit;
  if (wants_stereo_pass(plan)) request.finish_pass = add_st3d_to_movie;
  return request;
}

DirectSpatialRequest spatial_request(const ConversionPlan& plan) {
  const RectifiedView view = rectified_view(plan.metadata.raw_calibration);
  DirectSpatialRequest request;
  request.input = plan.job.input;
  request.output = plan.job.output;
  request.geometry.left_width = request.geometry.right_width = view.width;
  request.geometry.left_focal_length = request.geometry.right_focal_length = view.focal_length_x;
  request.geometry.translation = plan.metadata.raw_calibration.stereo_extrinsic.position;
  request.geometry.hdr = plan.ten_bit;
  request.eye = plan.canvas;
  request.frame_rate = output_rate(plan);
  request.input_colors = plan.input_colors;
  request.source_audio = plan.source_audio;
  return request;
}

// The pass writes an MP4 file; a movie asked for in another container would not stay in it.
bool wants_stereo_pass(const ConversionPlan& plan) {
  return wants_container_stereo(plan) && plan.container != nullptr && is_mp4_family(*plan.container);
}

}  // namespace veyrin
