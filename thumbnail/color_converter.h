// Colours of previews: from decoded samples to linear light, and from there to what an ordinary screen shows.
#pragma once

#include <array>
#include <cstdint>

#include "decode/color_description.h"
#include "media/ffmpeg.h"
#include "processing/cpu_worker_pool.h"
#include "thumbnail/color_converter.h"
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
[[nodiscard]] ImagePtr image_of_frame(const AVFrame& frame, const ColorConverter& converter,
                                      CpuWorkerPool& pool);

/// Linear light per colour.
struct LinearColor {
  float red = 0.0F, green = 0.0F, blue = 0.0F;
};

/// From the recording's linear light to the preview's 8-bit codes (BT.709 primaries, read as sRGB).
///
/// Standard-range material keeps its look: the curve that linearised it also encodes it, so that a picture
/// that is neither scaled nor of wide gamut comes out code by code as it went in.
///
/// HLG material takes these steps:
/// 1. The system curve of ITU-R BT.2100 for a display of 1000 cd/m2 (gamma 1.2): each colour times Y^0.2 with
///    Y the luminance in the recording's primaries.
/// 2. A scale that brings reference white, which ITU-R BT.2408 puts at 75 % of the signal (203 of
///    1000 cd/m2), to 1. The signal's peak is then about 4.9.
/// 3. BT.2020 primaries to BT.709 by the matrix of ITU-R BT.2407, negative values cut to 0. (Done for
///    wide-gamut material of any transfer.)
/// 4. A tone curve on the largest of the three colours, all three scaled alike so that hue and saturation
///    stay: unchanged up to the knee 0.75, above it k + (1 - k) x (1 + x / p^2) / (1 + x) with
///    x = (v - k) / (1 - k) and p the same of the peak. It leaves the knee with slope 1 and reaches 1 at the
///    peak: white things stay white and lamps keep some shape.
/// 5. The sRGB curve.
class DisplayColors {
 public:
  explicit DisplayColors(const ColorConverter& converter);

  /// What the screen shows of recorded light; colours 0..1.
  [[nodiscard]] LinearColor displayed(LinearColor recorded) const;
  /// The nearest code for displayed light. Opaque.
  [[nodiscard]] Rgba encoded(LinearColor displayed) const;
  /// Displayed light of a preview's own colour.
  [[nodiscard]] LinearColor decoded(Rgba color) const;

 private:
  [[nodiscard]] std::uint8_t code(float light) const;

  bool hlg_;
  bool wide_gamut_;
  TransferCurve curve_;  // of the preview's codes
  // thresholds_[i] is the light half-way, on the curve, between codes i and i + 1.
  std::array<float, 255> thresholds_{};
};

}  // namespace veyrin
