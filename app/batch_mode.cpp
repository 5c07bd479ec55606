#include "app/batch_mode.h"

#include "app/output_naming.h"
#include "app/recording_report.h"
#include "common/console.h"
#include "common/platform/files.h"
#include "common/same_file.h"
#include "convert/conversion.h"
#include "convert/eye_canvas.h"
#include "metadata/recording_metadata.h"
#include "rectification/rectification_maps.h"
#include "convert/output_guard.h"

namespace veyrin {
namespace {

[[nodiscard]] bool plan_input(const RecordingMetadata& metadata, const ConversionOptions& options,
                              std::string& error) {
  const Size requested = requested_eye_size(options, native_eye_size(metadata));
  RectificationMaps maps;
  if (!build_rectification_maps(metadata.raw_calibration, requested.width, requested.height, maps, error)) {
    return false;
  }
  print_planned_work(options, requested);
  return true;
}

/// The overwrite rule of spatial output; that of the others is the conversion's own.
[[nodiscard]] bool check_spatial_job(const ConversionJob& job, const ConversionOptions& options,
                                     std::string& error) {
  return keep_input_intact(job.input, job.output, error) &&
         check_spatial_output(job.output, options.overwrite, error);
}

const char* product_name(OutputFormat format) {
  switch (format) {
    case OutputFormat::sbs:
      break;
    case OutputFormat::spatial:
      return "Apple spatial";
    case OutputFormat::mono:
      return "Mono";
  }
  return "SBS";
}

[[nodiscard]] bool convert_input(const std::filesystem::path& input, const RecordingMetadata& metadata,
                                 const ConversionOptions& options, std::string& error) {
  ConversionJob job;
  job.input = input;
  job.output = output_path(input, options, metadata.is_hdr);
  job.kind = conversion_kind(options);
  if (job.kind == ConversionKind::spatial && !check_spatial_job(job, options, error)) return false;
  bool software_path = true;
  if (!convert_recording(job, metadata, options, software_path, error)) return false;
  console_line("%s output: %s", product_name(options.output_format),
               platform::path_to_utf8(job.output).c_str());
  return true;
}

[[nodiscard]] bool handle_input(const std::string& name, const ConversionOptions& options,
                                std::string& error) {
  const std::filesystem::path input = platform::path_from_utf8(name);
  RecordingMetadata metadata;
  if (!read_recording_metadata(input, metadata, error)) return false;
  print_recording_report(name, metadata);
  if (options.dry_run) return plan_input(metadata, options, error);
  if (options.inspect) return true;
  return convert_input(input, metadata, options, error);
}

}  // namespace

bool run_batch(const ConversionOptions& options, std::string& error) {
  if (options.sbs_codec == SbsCodec::h264) {
    console_line("Warning: H.264 output is limited to 8-bit; 10-bit HDR support will be lost");
  }
  for (const std::string& input : options.inputs) {
    if (!handle_input(input, options, error)) return false;
  }
  return true;
}

}  // namespace veyrin
