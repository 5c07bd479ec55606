// Turns decoded samples into RGB codes and these into linear light.
#pragma once

#include <array>
#include <cstdint>

#include "decode/color_description.h"
#include "media/ffmpeg.h"
#include "thumbnail/image.h"

namespace veyrin {

/// The curves between the stored signal and light. BT.709 material is read with a plain power, because it is
/// made for screens that follow one, not for the inverse of its camera curve.
enum class TransferCurve { srgb, gamma22, hlg };

/// Linear light of a signal value, both 0..1: IEC 61966-2-1, a power of 2.2, or ARIB STD-B67, whose light is
/// that of the scene.
double linear_light(TransferCurve curve, double signal);

/// How the pixels of one stream are read. Prepared once per stream.
struct ColorConverter {
  // Integer coefficients with 8 fractional bits.
  int luma_offset = 0, luma_scale = 256;
  int red_from_cr = 0, green_from_cb = 0, green_from_cr = 0, blue_from_cb = 0;
  TransferCurve curve = TransferCurve::srgb;
  bool hlg = false;
  bool wide_gamut = false;          ///< primaries of BT.2020 instead of BT.709
  std::array<float, 256> linear{};  ///< linear light of an RGB code, 0..1

  /// RGB codes of 8-bit Y'CbCr samples, in the stream's own transfer and primaries.
  [[nodiscard]] Rgba rgb(int luma, int cb, int cr) const {
    const int scaled = luma_scale * (luma - luma_offset) + rounding;
    const int blue = cb - chroma_zero, red = cr - chroma_zero;
    return {code(scaled + red_from_cr * red), code(scaled + green_from_cb * blue + green_from_cr * red),
            code(scaled + blue_from_cb * blue)};
  }

 private:
  static constexpr int chroma_zero = 128;
  static constexpr int fraction_bits = 8;
  static constexpr int rounding = 1 << (fraction_bits - 1);

  static std::uint8_t code(int scaled) {
    const int value = scaled >> fraction_bits;
    return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
  }
};

ColorConverter prepare_color_converter(const ColorDescription& description);

/// The frame's RGB codes, opaque, in its own transfer and primaries and at its own size. Any system-memory
/// format that libswscale reads; depths above 8 bits are rounded to 8, since the converter's tables are of
/// 8-bit codes. Null for any other format or when memory is short.
[[nodiscard]] ImagePtr image_of_frame(const AVFrame& frame, const ColorConverter& converter);

}  // namespace veyrin
