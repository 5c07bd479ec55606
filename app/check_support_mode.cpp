#include "app/check_support_mode.h"

#include <exception>
#include <filesystem>
#include <system_error>

#include "app/support_answer.h"
#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/files.h"
#include "convert/conversion.h"
#include "metadata/recording_metadata.h"

namespace veyrin {
namespace {

RecordingMetadata synthetic_metadata(const SyntheticInput& properties) {
  RecordingMetadata metadata;
  metadata.left_track = metadata.raw_calibration.left_track;
  metadata.right_track = metadata.raw_calibration.right_track;
  for (CameraIntrinsics* camera :
       {&metadata.raw_calibration.left_intrinsics, &metadata.raw_calibration.right_intrinsics}) {
    camera->width = properties.width;
    camera->height = properties.height;
  }
  return metadata;
}

[[nodiscard]] bool describe_input(const ConversionOptions& options, ConversionJob& job,
                                  RecordingMetadata& metadata, std::string& error) {
  if (options.input_width) {
    job.synthetic_input = {*options.input_width, *options.input_height, options.input_bit_depth == 10};
    metadata = synthetic_metadata(*job.synthetic_input);
    return true;
  }
  job.input = platform::path_from_utf8(options.inputs.front());
  return read_recording_metadata(job.input, metadata, error);
}

// Running out of memory, say, means that the machine cannot do it; only the file system's own exceptions are
// errors of the question.
[[nodiscard]] bool probe_conversion(const ConversionJob& job, const RecordingMetadata& metadata,
                                    const ConversionOptions& options, bool& software_path,
                                    std::string& error) {
  try {
    return convert_recording(job, metadata, options, software_path, error);
  } catch (const std::filesystem::filesystem_error&) {
    throw;
  } catch (const std::exception& exception) {
    return fail(error, exception.what());
  }
}

[[nodiscard]] bool probe_support(const ConversionOptions& options, bool& software_path, std::string& error) {
  ConversionJob job;
  RecordingMetadata metadata;
  if (!describe_input(options, job, metadata, error)) return false;
  job.kind = conversion_kind(options);
  job.probe = true;
  const auto clock_reading = std::chrono::steady_clock::now().time_since_epoch();
  job.output = std::filesystem::temp_directory_path() / probe_file_name(options, clock_reading);
  const bool supported = probe_conversion(job, metadata, options, software_path, error);
  std::error_code ignored;
  std::filesystem::remove(job.output, ignored);
  return supported;
}

}  // namespace

std::string probe_file_name(const ConversionOptions& options, std::chrono::nanoseconds clock_reading) {
  const bool quicktime =
      options.output_format == OutputFormat::spatial || options.sbs_codec == SbsCodec::prores;
  return "veyrin-support-probe-" + std::to_string(clock_reading.count()) + (quicktime ? ".mov" : ".mp4");
}

void answer_support_check(const ConversionOptions& options) {
  bool software_path = true;
  bool supported = false;
  std::string error;
  {
    const ConsoleSilence silence;
    supported = probe_support(options, software_path, error);
  }
  console_log("%s", (supported ? supported_answer(software_path) : unsupported_answer(error)).c_str());
}

}  // namespace veyrin
