#include "app/run_modes.h"

#include <filesystem>
#include <system_error>

#include "app/output_naming.h"
#include "common/console.h"
#include "common/error_text.h"
#include "common/output_guard.h"
#include "common/platform/files.h"
#include "common/platform/program.h"
#include "convert/conversion.h"
#include "convert/conversion_plan.h"
#include "metadata/calibration.h"
#include "metadata/recording_metadata.h"
#include "rectification/rectification_maps.h"
#include "thumbnail/thumbnail_generator.h"

namespace veyrin {
namespace {

[[nodiscard]] bool plan_input(const RecordingMetadata& metadata, const ConversionOptions& options,
                              std::string& error) {
  const Size requested = requested_eye_size(options, native_eye_size(metadata));
  if (!check_rectification(metadata.raw_calibration, requested, error)) return false;
  print_planned_work(options, requested);
  return true;
}

// The lines of the report and the bytes of the output would overwrite each other.
[[nodiscard]] bool keep_report_apart(const std::filesystem::path& output, std::string& error) {
  if (!platform::is_printed_into(output)) return true;
  return fail(error, "output would be mixed with what the program prints: " + platform::path_to_utf8(output));
}

/// The overwrite rule of spatial output is tested here; the conversion tests that of the others.
[[nodiscard]] bool check_spatial_job(const ConversionJob& job, const ConversionOptions& options,
                                     std::string& error) {
  return job.batch->keep_intact(job.input, job.output, error) &&
         check_spatial_output(job.output, options.overwrite, error);
}

/// What a kind of output is called: as an option's value, and in the line that names the finished movie.
struct FormatNames {
  const char* option;
  const char* product;
};

FormatNames names_of(OutputFormat format) {
  switch (format) {
    case OutputFormat::sbs:
      break;
    case OutputFormat::spatial:
      return {"spatial", "Apple spatial"};
    case OutputFormat::mono:
      return {"mono", "Mono"};
  }
  return {"sbs", "SBS"};
}

[[nodiscard]] bool convert_input(const std::filesystem::path& input, const RecordingMetadata& metadata,
                                 const ConversionOptions& options, BatchFiles& batch, std::string& error) {
  ConversionJob job;
  job.input = input;
  job.batch = &batch;
  job.output = output_path(input, options, metadata.is_hdr);
  if (options.output_format == OutputFormat::spatial && !check_spatial_job(job, options, error)) return false;
  // Without leave to overwrite, what exists is refused in any case.
  if (options.overwrite && !keep_report_apart(job.output, error)) return false;
  if (!convert_recording(job, metadata, options, error)) return false;
  batch.add_output(job.output);
  console_line("%s output: %s", names_of(options.output_format).product,
               platform::path_to_utf8(job.output).c_str());
  return true;
}

[[nodiscard]] bool handle_input(const std::string& name, const ConversionOptions& options, BatchFiles& batch,
                                std::string& error) {
  const std::filesystem::path input = platform::path_from_utf8(name);
  RecordingMetadata metadata;
  if (!read_recording_metadata(input, metadata, error)) return false;
  print_recording_report(name, metadata);
  if (options.dry_run) return plan_input(metadata, options, error);
  if (options.inspect) return true;
  return convert_input(input, metadata, options, batch, error);
}

[[nodiscard]] bool check_preview_path(const std::filesystem::path& input, const std::filesystem::path& output,
                                      bool overwrite, std::string& error) {
  if (!BatchFiles().keep_intact(input, output, error)) return false;
  std::error_code reason;
  const bool exists = std::filesystem::exists(output, reason);
  if (reason) throw std::filesystem::filesystem_error("exists", output, reason);
  // A link whose target is missing is something of that name, too.
  const bool taken = exists || platform::name_is_taken(output, reason);
  const std::string name = platform::path_to_utf8(output);
  if (taken && !overwrite) return fail(error, "output already exists: " + name);
  if (!output.has_filename()) return fail(error, "output path has no file name: \"" + name + "\"");
  return !overwrite || keep_report_apart(output, error);
}

}  // namespace

bool run_batch(const ConversionOptions& options, std::string& error) {
  if (options.sbs_codec == SbsCodec::h264) {
    console_line("Warning: H.264 output is limited to 8-bit; 10-bit HDR support will be lost");
  }
  BatchFiles batch;
  for (const std::string& input : options.inputs) batch.add_input(platform::path_from_utf8(input));
  for (const std::string& input : options.inputs) {
    if (!handle_input(input, options, batch, error)) return false;
  }
  return true;
}

bool run_thumbnail(const ConversionOptions& options, std::string& error) {
  const std::string& input = options.inputs.front();
  const std::filesystem::path& output = *options.output;
  const std::filesystem::path input_path = platform::path_from_utf8(input);
  if (!check_preview_path(input_path, output, options.overwrite, error)) return false;
  if (!generate_thumbnail(input_path, output, options.thumbnail_width, options.overwrite)) {
    return fail(error, "could not generate the thumbnail for " + input);
  }
  console_line("Thumbnail output: %s", platform::path_to_utf8(output).c_str());
  return true;
}

Size native_eye_size(const RecordingMetadata& metadata) {
  const CameraIntrinsics& left = metadata.raw_calibration.left_intrinsics;
  return {left.width, left.height};
}

float baseline_metres(const RecordingMetadata& metadata) {
  return length(metadata.raw_calibration.stereo_extrinsic.position);
}

const char* output_format_name(OutputFormat format) {
  return names_of(format).option;
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
