#include "app/option_table.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace veyrin {
namespace {

using namespace std::string_view_literals;

using Options = ConversionOptions;

constexpr std::array output_format_words{"sbs"sv, "spatial"sv, "mono"sv};
constexpr std::array mono_eye_words{"left"sv, "right"sv};
constexpr std::array sbs_mode_words{"full"sv, "half"sv};
constexpr std::array padding_words{"none"sv, "4x3"sv, "16x9"sv};
constexpr std::array codec_words{"h264"sv, "hevc"sv, "prores"sv};
constexpr std::array spatial_metadata_words{"st3d"sv, "sei"sv, "both"sv};

/// A keyword row's target, for a field that is an enumeration or an optional one.
template <auto field, typename Enumeration>
constexpr KeywordField keywords(std::span<const std::string_view> values) {
  return {values,
          [](Options& options, int value_index) { options.*field = static_cast<Enumeration>(value_index); }};
}

constexpr std::array table{
    OptionRow{"--input-width", "", "N", "synthetic per-eye input width (check-support only)", true,
              &Options::input_width},
    OptionRow{"--input-height", "", "N", "synthetic per-eye input height (check-support only)", true,
              &Options::input_height},
    OptionRow{"--input-bit-depth", "", "8|10", "synthetic input bit depth (check-support only)", true,
              &Options::input_bit_depth},
    OptionRow{"--thumbnail", "", "", "write a representative PNG preview", false, &Options::thumbnail},
    OptionRow{"--thumbnail-width", "", "N", "maximum preview width (default: 960)", false,
              &Options::thumbnail_width},
    OptionRow{"--inspect", "", "", "inspect embedded metadata and calibration", false, &Options::inspect},
    OptionRow{"--output-root", "", "PATH", "output root (default: converted/spatial_video)", false,
              &Options::output_root},
    OptionRow{"--output", "", "PATH", "exact output path (requires exactly one input)", false,
              &Options::output},
    OptionRow{"--output-format", "", "", "output type (default: sbs)", false,
              keywords<&Options::output_format, OutputFormat>(output_format_words)},
    OptionRow{"--mono-eye", "", "", "eye used for mono output (default: right)", false,
              keywords<&Options::mono_eye, MonoEye>(mono_eye_words)},
    OptionRow{"--eye-width", "", "N", "per-eye output width", false, &Options::eye_width},
    OptionRow{"--eye-height", "", "N", "per-eye output height", false, &Options::eye_height},
    OptionRow{"--sbs-mode", "", "", "SBS packing mode (default: full)", false,
              keywords<&Options::sbs_mode, SbsMode>(sbs_mode_words)},
    OptionRow{"--sbs-aspect-ratio-padding", "", "",
              "pad each eye to the selected aspect ratio (default: none)", false,
              keywords<&Options::sbs_aspect_ratio_padding, AspectPadding>(padding_words)},
    OptionRow{"--sbs-codec", "", "", "output codec; H.264 output is limited to 8-bit", false,
              keywords<&Options::sbs_codec, SbsCodec>(codec_words)},
    OptionRow{"--sdr-bitrate", "", "RATE", "target bitrate for SDR output (default: 55M)", false,
              &Options::sdr_bitrate},
    OptionRow{"--hdr-bitrate", "", "RATE", "target bitrate for HDR output (default: 90M)", false,
              &Options::hdr_bitrate},
    OptionRow{"--output-fps", "", "FPS", "normalized output frame rate", false, &Options::output_fps},
    OptionRow{"--start", "", "SECONDS", "trim start", false, &Options::start},
    OptionRow{"--duration", "", "SECONDS", "trim duration", false, &Options::duration},
    OptionRow{"--sbs-spatial-metadata", "", "", "stereo metadata (default: st3d; sei/both require H.264)",
              false, keywords<&Options::sbs_spatial_metadata, SpatialMetadataKind>(spatial_metadata_words)},
    OptionRow{"--software", "", "", "use software decoding and encoding", false, &Options::software},
    OptionRow{"--overwrite", "", "", "replace outputs", false, &Options::overwrite},
    OptionRow{"--dry-run", "", "", "validate and print planned work", false, &Options::dry_run},
    OptionRow{"--help", "-h", "", "show this help", false, &Options::help},
};

constexpr std::string_view introduction =
    "Usage: veyrin-video-converter [options] INPUT...\n"
    "       veyrin-video-converter check-support [options] INPUT\n"
    "\n"
    "Native raw dual-track spatial video converter.\n"
    "\n";

constexpr std::size_t description_column = 28;

/// The values of an option as the usage text writes them, with a leading blank; empty for a flag.
std::string value_text(const OptionRow& row) {
  std::string text;
  if (const auto* keyword = std::get_if<KeywordField>(&row.target)) {
    for (const std::string_view word : keyword->values) text.append(text.empty() ? " " : "|").append(word);
  } else if (!row.placeholder.empty()) {
    text.append(" ").append(row.placeholder);
  }
  return text;
}

std::string heading(const OptionRow& row) {
  const std::string alias = row.short_name.empty() ? "" : std::string(row.short_name) + ", ";
  return alias + std::string(row.name) + value_text(row);
}

/// One entry; a heading that would touch the column of the descriptions gets a line of its own.
std::string usage_entry(std::string_view heading, std::string_view description) {
  std::string entry = "  " + std::string(heading);
  if (entry.size() + 2 > description_column)
    entry.append("\n").append(description_column, ' ');
  else
    entry.resize(description_column, ' ');
  return entry.append(description).append("\n");
}

}  // namespace

std::span<const OptionRow> option_table() {
  return table;
}

const OptionRow* find_option(std::string_view argument) {
  if (argument.empty()) return nullptr;
  const auto row = std::find_if(table.begin(), table.end(), [argument](const OptionRow& candidate) {
    return argument == candidate.name || argument == candidate.short_name;
  });
  return row == table.end() ? nullptr : &*row;
}

bool takes_value(const OptionRow& row) {
  return !std::holds_alternative<OptionField<bool>>(row.target);
}

std::string keyword_list(std::span<const std::string_view> values) {
  std::string list;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const bool last = i + 1 == values.size();
    if (i > 0) list += values.size() > 2 ? ", " : " ";
    if (i > 0 && last) list += "or ";
    list += values[i];
  }
  return list;
}

std::string usage_text() {
  std::string text(introduction);
  text += usage_entry("check-support", "report whether the requested conversion is supported as JSON");
  bool synthetic_block = true;
  for (const OptionRow& row : option_table()) {
    if (synthetic_block && !row.synthetic_input) text += "\n";
    synthetic_block = row.synthetic_input;
    text += usage_entry(heading(row), row.description);
  }
  return text;
}

}  // namespace veyrin
