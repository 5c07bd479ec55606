#include "app/output_naming.h"

#include "common/platform/files.h"

namespace veyrin {
namespace {

std::string_view padding_suffix(AspectPadding padding) {
  switch (padding) {
    case AspectPadding::none:
      break;
    case AspectPadding::ratio_4x3:
      return "_pad4x3";
    case AspectPadding::ratio_16x9:
      return "_pad16x9";
  }
  return "";
}

std::string_view sbs_suffix(SbsMode mode) {
  return mode == SbsMode::half ? "_HALF_SBS_LR" : "_FULL_SBS_LR";
}

std::string_view extension(SbsCodec codec) {
  return codec == SbsCodec::prores ? ".mov" : ".mp4";
}

}  // namespace

std::string_view file_stem(std::string_view file_name) {
  const std::string_view name = file_name.substr(0, file_name.find(':'));
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name == "..") return name;
  return name.substr(0, dot);
}

std::string output_file_name(std::string_view input_file_name, const ConversionOptions& options,
                             bool is_hdr) {
  std::string name(file_stem(input_file_name));
  name += padding_suffix(options.sbs_aspect_ratio_padding);
  switch (conversion_kind(options)) {
    case ConversionKind::sbs:
      name.append(sbs_suffix(options.sbs_mode)).append(extension(options.sbs_codec));
      break;
    case ConversionKind::spatial:
      // The packing mode is part of this name too, although no packing takes place.
      name.append(sbs_suffix(options.sbs_mode))
          .append("_mv_hevc_spatial_")
          .append(is_hdr ? "hdr.mov" : "sdr.mov");
      break;
    case ConversionKind::mono_left:
      name.append("_MONO_LEFT").append(extension(options.sbs_codec));
      break;
    case ConversionKind::mono_right:
      name.append("_MONO_RIGHT").append(extension(options.sbs_codec));
      break;
  }
  return name;
}

std::filesystem::path output_path(const std::filesystem::path& input, const ConversionOptions& options,
                                  bool is_hdr) {
  if (options.output) return *options.output;
  const std::string input_name = platform::path_to_utf8(input.filename());
  return options.output_root / platform::path_from_utf8(output_file_name(input_name, options, is_hdr));
}

}  // namespace veyrin
