#include "app/check_support_mode.h"

#include <exception>
#include <filesystem>
#include <optional>
#include <system_error>

#include "common/console.h"
#include "common/platform/files.h"
#include "convert/conversion.h"
#include "convert/conversion_plan.h"
#include "metadata/recording_metadata.h"

namespace veyrin {
namespace {

/// A byte below 0x20 as a backslash, u and four digits.
std::string numeric_escape(unsigned char byte) {
  constexpr std::string_view digits = "0123456789abcdef";
  return std::string("\\u00") + digits[byte >> 4U] + digits[byte & 0xFU];
}

std::string escape_byte(char character) {
  switch (character) {
    case '\t':
      return "\\t";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    default:
      break;
  }
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 ? numeric_escape(byte) : std::string(1, character);
}

RecordingMetadata synthetic_metadata(const SyntheticInput& properties) {
  RecordingMetadata metadata;
  metadata.left_track = metadata.raw_calibration.left_track;
  metadata.right_track = metadata.raw_calibration.right_track;
  for (CameraIntrinsics* camera :
       {&metadata.raw_calibration.left_intrinsics, &metadata.raw_calibration.right_intrinsics}) {
    camera->width = properties.eye.width;
    camera->height = properties.eye.height;
  }
  return metadata;
}

[[nodiscard]] bool describe_input(const ConversionOptions& options, ConversionJob& job,
                                  RecordingMetadata& metadata, std::string& error) {
  if (options.input_width) {
    const BitDepth depth = options.input_bit_depth == 10 ? BitDepth::ten : BitDepth::eight;
    job.synthetic_input = {.eye = {*options.input_width, *options.input_height}, .depth = depth};
    metadata = synthetic_metadata(*job.synthetic_input);
    return true;
  }
  job.input = platform::path_from_utf8(options.inputs.front());
  return read_recording_metadata(job.input, metadata, error);
}

// Whatever a conversion throws, as when memory runs out, means that the machine cannot do it; only the file
// system's own exceptions are errors of the question.
[[nodiscard]] std::optional<Acceleration> probe_conversion(const ConversionJob& job,
                                                           const RecordingMetadata& metadata,
                                                           const ConversionOptions& options,
                                                           std::string& error) {
  try {
    return check_conversion_support(job, metadata, options, error);
  } catch (const std::filesystem::filesystem_error&) {
    throw;
  } catch (const std::exception& exception) {
    error = exception.what();
    return std::nullopt;
  }
}

[[nodiscard]] std::optional<Acceleration> probe_support(const ConversionOptions& options,
                                                        std::string& error) {
  ConversionJob job;
  RecordingMetadata metadata;
  if (!describe_input(options, job, metadata, error)) return std::nullopt;
  const auto clock_reading = std::chrono::steady_clock::now().time_since_epoch();
  job.output = std::filesystem::temp_directory_path() / probe_file_name(options, clock_reading);
  const auto acceleration = probe_conversion(job, metadata, options, error);
  std::error_code ignored;
  std::filesystem::remove(job.output, ignored);
  return acceleration;
}

}  // namespace

std::string escape_json(std::string_view text) {
  std::string escaped;
  for (const char character : text) escaped += escape_byte(character);
  return escaped;
}

std::string supported_answer(Acceleration acceleration) {
  return std::string(R"({"schemaVersion":1,"supported":true,"acceleration":")") +
         (acceleration == Acceleration::software ? "software" : "hardware") + "\"}\n";
}

std::string unsupported_answer(std::string_view reason) {
  return R"({"schemaVersion":1,"supported":false,"acceleration":"none","reason":")" + escape_json(reason) +
         "\"}\n";
}

std::string probe_file_name(const ConversionOptions& options, std::chrono::nanoseconds clock_reading) {
  const bool quicktime =
      options.output_format == OutputFormat::spatial || options.sbs_codec == SbsCodec::prores;
  return "veyrin-support-probe-" + std::to_string(clock_reading.count()) + (quicktime ? ".mov" : ".mp4");
}

void answer_support_check(const ConversionOptions& options) {
  std::optional<Acceleration> acceleration;
  std::string error;
  {
    const ConsoleSilence silence;
    acceleration = probe_support(options, error);
  }
  console_log("%s", (acceleration ? supported_answer(*acceleration) : unsupported_answer(error)).c_str());
}

}  // namespace veyrin
