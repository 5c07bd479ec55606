#include "convert/conversion_plan.h"

#include <optional>

namespace veyrin {
namespace {

FrameRate frame_rate(AVRational rate) {
  return {rate.num, rate.den};
}

}  // namespace

void plan_sizes_and_timing(const ConversionInput& input, ConversionPlan& plan) {
  const ConversionOptions& options = plan.options;
  const CameraIntrinsics& native = plan.metadata.raw_calibration.left_intrinsics;
  plan.eye = requested_eye_size(options, {native.width, native.height});
  plan.canvas = padded_eye_size(plan.eye, options.sbs_aspect_ratio_padding);
  plan.range = TrimRange::from(options.start, options.duration);
  AVStream* left = input.context->streams[input.left_stream];
  plan.input_rate = frame_rate(av_guess_frame_rate(input.context.get(), left, nullptr));
  std::optional<FrameRate> requested;
  if (options.output_fps) requested = frame_rate(av_d2q(*options.output_fps, /*max=*/100000));
  plan.output_rate = choose_output_rate(requested, plan.input_rate);
  const AVCodecParameters& source = *left->codecpar;
  plan.input_colors = {source.color_primaries, source.color_trc, source.color_space, source.color_range};
  if (input.audio_stream >= 0) plan.source_audio = input.context->streams[input.audio_stream];
}

std::vector<OutputLayout> output_layouts(const ConversionPlan& plan) {
  switch (plan.job.kind) {
    case ConversionKind::mono_left:
      return {OutputLayout::mono_left};
    case ConversionKind::mono_right:
      return {OutputLayout::mono_right};
    case ConversionKind::spatial:
      return {OutputLayout::mono_left, OutputLayout::mono_right};
    case ConversionKind::sbs:
      break;
  }
  return {plan.options.sbs_mode == SbsMode::half ? OutputLayout::half_sbs : OutputLayout::full_sbs};
}

}  // namespace veyrin
