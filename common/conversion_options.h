// What the user asked for: the parsed options with their defaults, read by every room that converts, names or
// probes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace veyrin {

// The numeric values are stored and compared elsewhere.
enum class OutputFormat { sbs = 0, spatial = 1, mono = 2 };
enum class SbsCodec { h264 = 0, hevc = 1, prores = 2 };
enum class SbsMode { full = 0, half = 1 };
enum class AspectPadding { none = 0, ratio_4x3 = 1, ratio_16x9 = 2 };
enum class SpatialMetadataKind { st3d = 0, sei = 1, both = 2 };
enum class MonoEye { left = 0, right = 1 };

/// What one conversion produces.
enum class ConversionKind { sbs = 0, spatial = 1, mono_left = 2, mono_right = 3 };

struct ConversionOptions {
  std::vector<std::string> inputs;  ///< file names as given (UTF-8), in order
  std::filesystem::path output_root = "converted/spatial_video";
  std::optional<std::filesystem::path> output;
  std::optional<std::int32_t> eye_width;
  std::optional<std::int32_t> eye_height;
  std::optional<std::int32_t> input_width;
  std::optional<std::int32_t> input_height;
  std::optional<std::int32_t> input_bit_depth;
  std::optional<double> output_fps;  ///< frames per second
  std::optional<double> duration;    ///< seconds
  double start = 0.0;                ///< seconds
  std::string sdr_bitrate = "55M";   ///< rate text, parsed when an encoder is chosen
  std::string hdr_bitrate = "90M";
  SbsCodec sbs_codec = SbsCodec::hevc;
  SbsMode sbs_mode = SbsMode::full;
  AspectPadding sbs_aspect_ratio_padding = AspectPadding::none;
  SpatialMetadataKind sbs_spatial_metadata = SpatialMetadataKind::st3d;
  OutputFormat output_format = OutputFormat::sbs;
  std::optional<MonoEye> mono_eye;  ///< absent means right
  std::int32_t thumbnail_width = 960;
  bool thumbnail = false;
  bool inspect = false;
  bool overwrite = false;
  bool software = false;
  bool dry_run = false;
  bool check_support = false;
  bool help = false;
};

/// The product that `output_format` and `mono_eye` ask for.
inline ConversionKind conversion_kind(const ConversionOptions& options) {
  switch (options.output_format) {
    case OutputFormat::sbs:
      return ConversionKind::sbs;
    case OutputFormat::spatial:
      return ConversionKind::spatial;
    case OutputFormat::mono:
      break;
  }
  return options.mono_eye == MonoEye::left ? ConversionKind::mono_left : ConversionKind::mono_right;
}

}  // namespace veyrin
