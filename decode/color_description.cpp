#include "decode/color_description.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "common/console.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin {
namespace {

constexpr auto recognised = ColorTagStatus::recognised;
constexpr auto absent = ColorTagStatus::absent;
constexpr auto unsupported = ColorTagStatus::unsupported;

/// A tag value that the messages have a name for.
template <typename Kind>
struct KnownValue {
  int raw;
  const char* name;
  ColorTagStatus status;
  Kind kind;
};

constexpr KnownValue<ColorMatrix> matrices[] = {
    {AVCOL_SPC_BT709, "BT.709", recognised, ColorMatrix::bt709},
    {AVCOL_SPC_UNSPECIFIED, "UNSPECIFIED", absent, ColorMatrix::bt601},
    {AVCOL_SPC_BT470BG, "BT.470 BG", recognised, ColorMatrix::bt601},
    {AVCOL_SPC_SMPTE170M, "SMPTE 170M", recognised, ColorMatrix::bt601},
    {AVCOL_SPC_BT2020_NCL, "BT.2020 NCL", recognised, ColorMatrix::bt2020},
    // Constant luminance needs the transfer undone before the matrix, so no coefficients fit it.
    {AVCOL_SPC_BT2020_CL, "BT.2020 CL", unsupported, ColorMatrix::bt601},
};

constexpr KnownValue<ColorPrimaries> primary_sets[] = {
    {AVCOL_PRI_BT709, "BT.709", recognised, ColorPrimaries::bt709},
    {AVCOL_PRI_UNSPECIFIED, "UNSPECIFIED", absent, ColorPrimaries::bt709},
    {AVCOL_PRI_BT2020, "BT.2020", recognised, ColorPrimaries::bt2020},
};

constexpr KnownValue<ColorTransfer> transfers[] = {
    {AVCOL_TRC_BT709, "BT.709", recognised, ColorTransfer::bt709},
    {AVCOL_TRC_UNSPECIFIED, "UNSPECIFIED", absent, ColorTransfer::srgb},
    {AVCOL_TRC_IEC61966_2_1, "sRGB", recognised, ColorTransfer::srgb},
    {AVCOL_TRC_ARIB_STD_B67, "HLG", recognised, ColorTransfer::hlg},
};

constexpr KnownValue<ColorRange> ranges[] = {
    {AVCOL_RANGE_UNSPECIFIED, "UNSPECIFIED", absent, ColorRange::full},
    {AVCOL_RANGE_MPEG, "LIMITED", recognised, ColorRange::limited},
    {AVCOL_RANGE_JPEG, "FULL", recognised, ColorRange::full},
};

// Null where FFmpeg has no name either.
const char* library_name(ColorMatrix, int raw) {
  return av_color_space_name(static_cast<AVColorSpace>(raw));
}
const char* library_name(ColorPrimaries, int raw) {
  return av_color_primaries_name(static_cast<AVColorPrimaries>(raw));
}
const char* library_name(ColorTransfer, int raw) {
  return av_color_transfer_name(static_cast<AVColorTransferCharacteristic>(raw));
}
const char* library_name(ColorRange, int raw) {
  return av_color_range_name(static_cast<AVColorRange>(raw));
}

/// A tag's number. Damaged streams carry some that the enumeration cannot hold, so it is not read as one.
template <typename Tag>
int number_of(const Tag& tag) {
  static_assert(sizeof(Tag) == sizeof(int));
  int number = 0;
  std::memcpy(&number, &tag, sizeof(number));
  return number;
}

std::string upper_case(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

/// A classified tag and the texts of its messages.
template <typename Kind>
struct NamedTag {
  const char* subject;   ///< what the messages call the tag
  const char* fallback;  ///< name of kind 0
  int raw;
  std::string value_name;
  ColorTag<Kind> tag;

  [[nodiscard]] const char* outcome() const {
    return tag.status == recognised ? value_name.c_str() : fallback;
  }
};

template <typename Kind>
NamedTag<Kind> classify(std::span<const KnownValue<Kind>> known, const char* subject, const char* fallback,
                        int raw) {
  const auto match = std::ranges::find(known, raw, &KnownValue<Kind>::raw);
  if (match != known.end()) return {subject, fallback, raw, match->name, {match->kind, match->status}};
  const char* name = library_name(Kind{}, raw);
  return {subject,
          fallback,
          raw,
          name != nullptr ? upper_case(name) : "FFMPEG " + std::to_string(raw),
          {Kind{}, unsupported}};
}

template <typename Kind>
void report_unrecognised(const NamedTag<Kind>& named, const std::string& label, bool hlg) {
  if (named.tag.status == unsupported) {
    console_line("[VideoReader] WARNING: %s stream has unsupported %s tag %s (%d); using %s", label.c_str(),
                 named.subject, named.value_name.c_str(), named.raw, named.fallback);
  } else if (named.tag.status == absent && hlg) {
    console_line(
        "[VideoReader] WARNING: %s HLG stream has absent %s tag (%d); using %s; HDR description is "
        "incomplete",
        label.c_str(), named.subject, named.raw, named.fallback);
  } else if (named.tag.status == absent) {
    console_line("[VideoReader] %s stream has absent %s tag (%d); using %s", label.c_str(), named.subject,
                 named.raw, named.fallback);
  }
}

}  // namespace

ColorDescription describe_color(const ColorTags& tags, const std::string& label) {
  const auto matrix = classify<ColorMatrix>(matrices, "YCbCr matrix", "BT.601", number_of(tags.matrix));
  const auto primaries =
      classify<ColorPrimaries>(primary_sets, "color primaries", "BT.709", number_of(tags.primaries));
  const auto transfer = classify<ColorTransfer>(transfers, "transfer", "sRGB", number_of(tags.transfer));
  const auto range = classify<ColorRange>(ranges, "range", "FULL", number_of(tags.range));

  const bool hlg = transfer.tag.status == recognised && transfer.tag.kind == ColorTransfer::hlg;
  report_unrecognised(matrix, label, hlg);
  report_unrecognised(primaries, label, hlg);
  report_unrecognised(transfer, label, hlg);
  report_unrecognised(range, label, hlg);
  console_line(
      "[VideoReader] %s playback color: matrix=%s primaries=%s transfer=%s range=%s "
      "rawTags(matrix=%d primaries=%d transfer=%d range=%d)",
      label.c_str(), matrix.outcome(), primaries.outcome(), transfer.outcome(), range.outcome(), matrix.raw,
      primaries.raw, transfer.raw, range.raw);
  return {tags, matrix.tag, primaries.tag, transfer.tag, range.tag};
}

}  // namespace veyrin
