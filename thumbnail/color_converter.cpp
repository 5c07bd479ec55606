#include "thumbnail/color_converter.h"

namespace veyrin {
namespace {

/// In 1/256: what a step of chroma adds to a colour's code.
struct ChromaCoefficients {
  int red_from_cr, green_from_cb, green_from_cr, blue_from_cb;
};

// From the luma weights of ITU-R BT.2020, BT.709 and BT.601; limited range stretches 224 steps to 255.
ChromaCoefficients chroma_coefficients(ColorMatrix matrix, bool limited) {
  switch (matrix) {
    case ColorMatrix::bt2020:
      if (limited) return {430, -48, -167, 548};
      return {377, -42, -146, 482};
    case ColorMatrix::bt709:
      if (limited) return {459, -55, -136, 541};
      return {403, -48, -120, 475};
    default:
      if (limited) return {409, -100, -208, 516};
      return {359, -88, -183, 454};
  }
}

}  // namespace

ColorConverter prepare_color_converter(const ColorDescription& description) {
  const bool limited = description.range.kind == ColorRange::limited;
  const ChromaCoefficients chroma = chroma_coefficients(description.matrix.kind, limited);
  ColorConverter converter;
  converter.luma_offset = limited ? 16 : 0;
  converter.luma_scale = limited ? 298 : 256;
  converter.red_from_cr = chroma.red_from_cr;
  converter.green_from_cb = chroma.green_from_cb;
  converter.green_from_cr = chroma.green_from_cr;
  converter.blue_from_cb = chroma.blue_from_cb;
  converter.curve = transfer_curve(description.transfer.kind);
  converter.hlg = description.transfer.kind == ColorTransfer::hlg;
  converter.wide_gamut = description.primaries.kind == ColorPrimaries::bt2020;
  converter.linear = linear_light_table(converter.curve);
  return converter;
}

}  // namespace veyrin
