#include "app/recording_report.h"

#include "common/console.h"
#include "convert/conversion_plan.h"
#include "metadata/pose.h"

namespace veyrin {

Size native_eye_size(const RecordingMetadata& metadata) {
  const CameraIntrinsics& left = metadata.raw_calibration.left_intrinsics;
  return {left.width, left.height};
}

float baseline_metres(const RecordingMetadata& metadata) {
  return length(metadata.raw_calibration.stereo_extrinsic.position);
}

const char* output_format_name(OutputFormat format) {
  switch (format) {
    case OutputFormat::sbs:
      break;
    case OutputFormat::spatial:
      return "spatial";
    case OutputFormat::mono:
      return "mono";
  }
  return "sbs";
}

void print_recording_report(const std::string& input, const RecordingMetadata& metadata) {
  const Size native = native_eye_size(metadata);
  console_line("Input: %s", input.c_str());
  console_line("  duration_seconds: %.6f", metadata.duration_seconds);
  console_line("  metadata_stream: %d", metadata.metadata_stream);
  console_line("  left_video_stream: %d", metadata.left_track);
  console_line("  right_video_stream: %d", metadata.right_track);
  console_line("  native_size: %dx%d", native.width, native.height);
  console_line("  baseline_m: %.6f", static_cast<double>(baseline_metres(metadata)));
  console_line("  pose_available: %s", metadata.calibration.has_head_chain ? "true" : "false");
}

void print_planned_work(const ConversionOptions& options, Size requested) {
  const Size movie = planned_movie_size(options, requested);
  console_line("  rectification_maps: valid");
  console_line("  output_video_size: %dx%d", movie.width, movie.height);
  console_line("  output_format: %s", output_format_name(options.output_format));
}

}  // namespace veyrin
