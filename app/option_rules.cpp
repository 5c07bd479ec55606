#include <array>

#include "app/options.h"
#include "common/error_text.h"

namespace veyrin {
namespace {

bool eye_width_not_positive(const ConversionOptions& options) {
  return options.eye_width && *options.eye_width <= 0;
}

bool eye_height_not_positive(const ConversionOptions& options) {
  return options.eye_height && *options.eye_height <= 0;
}

bool thumbnail_width_not_positive(const ConversionOptions& options) {
  return options.thumbnail_width <= 0;
}

bool start_negative(const ConversionOptions& options) {
  return options.start < 0.0;
}

bool duration_not_positive(const ConversionOptions& options) {
  return options.duration && *options.duration <= 0.0;
}

bool output_fps_not_positive(const ConversionOptions& options) {
  return options.output_fps && *options.output_fps <= 0.0;
}

// The value counts, not whether the option was given: asking for the default explicitly is harmless.
bool spatial_metadata_for_mono(const ConversionOptions& options) {
  return options.output_format == OutputFormat::mono &&
         options.sbs_spatial_metadata != SpatialMetadataKind::st3d;
}

bool sei_without_h264(const ConversionOptions& options) {
  return options.sbs_spatial_metadata != SpatialMetadataKind::st3d && options.sbs_codec != SbsCodec::h264;
}

bool mono_eye_without_mono(const ConversionOptions& options) {
  return options.mono_eye && options.output_format != OutputFormat::mono;
}

bool thumbnail_without_single_input(const ConversionOptions& options) {
  return options.thumbnail && options.inputs.size() != 1;
}

bool thumbnail_without_output(const ConversionOptions& options) {
  return options.thumbnail && !options.output;
}

bool thumbnail_with_other_mode(const ConversionOptions& options) {
  return options.thumbnail && (options.inspect || options.dry_run);
}

bool any_synthetic_property(const ConversionOptions& options) {
  return options.input_width || options.input_height || options.input_bit_depth;
}

bool all_synthetic_properties(const ConversionOptions& options) {
  return options.input_width && options.input_height && options.input_bit_depth;
}

bool synthetic_check(const ConversionOptions& options) {
  return options.check_support && all_synthetic_properties(options);
}

bool synthetic_without_check_support(const ConversionOptions& options) {
  return !options.check_support && any_synthetic_property(options);
}

bool synthetic_incomplete(const ConversionOptions& options) {
  return options.check_support && any_synthetic_property(options) && !all_synthetic_properties(options);
}

bool synthetic_bit_depth_unknown(const ConversionOptions& options) {
  return synthetic_check(options) && *options.input_bit_depth != 8 && *options.input_bit_depth != 10;
}

bool synthetic_size_not_positive(const ConversionOptions& options) {
  return synthetic_check(options) && (*options.input_width < 1 || *options.input_height < 1);
}

bool synthetic_with_input(const ConversionOptions& options) {
  return synthetic_check(options) && !options.inputs.empty();
}

bool check_support_without_single_input(const ConversionOptions& options) {
  return options.check_support && !any_synthetic_property(options) && options.inputs.size() != 1;
}

bool check_support_with_other_mode(const ConversionOptions& options) {
  return options.check_support && (options.thumbnail || options.inspect || options.dry_run);
}

bool output_without_single_input(const ConversionOptions& options) {
  return options.output && options.inputs.size() != 1;
}

struct OptionRule {
  bool (*broken)(const ConversionOptions& options);
  const char* message;
};

constexpr std::array rules{
    OptionRule{eye_width_not_positive, "--eye-width must be positive"},
    OptionRule{eye_height_not_positive, "--eye-height must be positive"},
    OptionRule{thumbnail_width_not_positive, "--thumbnail-width must be positive"},
    OptionRule{start_negative, "--start must be non-negative"},
    OptionRule{duration_not_positive, "--duration must be positive"},
    OptionRule{output_fps_not_positive, "--output-fps must be positive"},
    OptionRule{spatial_metadata_for_mono, "--sbs-spatial-metadata does not apply to mono output"},
    OptionRule{sei_without_h264, "SEI spatial metadata requires --sbs-codec h264"},
    OptionRule{mono_eye_without_mono, "--mono-eye requires --output-format mono"},
    OptionRule{thumbnail_without_single_input, "--thumbnail requires exactly one input"},
    OptionRule{thumbnail_without_output, "--thumbnail requires --output"},
    OptionRule{thumbnail_with_other_mode, "--thumbnail cannot be combined with --inspect or --dry-run"},
    OptionRule{synthetic_without_check_support,
               "--input-width, --input-height, and --input-bit-depth are valid only with check-support"},
    OptionRule{synthetic_incomplete,
               "synthetic check-support requires --input-width, --input-height, and --input-bit-depth"},
    OptionRule{synthetic_bit_depth_unknown, "--input-bit-depth must be 8 or 10"},
    OptionRule{synthetic_size_not_positive, "synthetic input dimensions must be positive"},
    OptionRule{synthetic_with_input, "synthetic check-support does not accept an input file"},
    OptionRule{check_support_without_single_input,
               "check-support requires one input file or synthetic input properties"},
    OptionRule{check_support_with_other_mode,
               "check-support cannot be combined with --thumbnail, --inspect, or --dry-run"},
    OptionRule{output_without_single_input, "--output requires exactly one input"},
};

}  // namespace

bool check_option_rules(const ConversionOptions& options, std::string& error) {
  for (const OptionRule& rule : rules) {
    if (rule.broken(options)) return fail(error, rule.message);
  }
  return true;
}

}  // namespace veyrin
