#include "thumbnail/color_converter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin {
namespace {

double srgb_light(double v) {
  return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

double hlg_light(double v) {
  if (v <= 0.5) return v * v / 3.0;
  return (std::exp((v - 0.5599107) / 0.17883277) + 0.28466892) / 12.0;
}

TransferCurve transfer_curve(ColorTransfer transfer) {
  switch (transfer) {
    case ColorTransfer::hlg:
      return TransferCurve::hlg;
    case ColorTransfer::bt709:
      return TransferCurve::gamma22;
    default:
      return TransferCurve::srgb;
  }
}

/// Linear light of each 8-bit code.
std::array<float, 256> linear_light_table(TransferCurve curve) {
  std::array<float, 256> table{};
  for (std::size_t code = 0; code < table.size(); ++code) {
    table[code] = static_cast<float>(linear_light(curve, static_cast<double>(code) / 255.0));
  }
  return table;
}

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

bool holds_rgb(AVPixelFormat format) {
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
  constexpr std::uint64_t rgb_flags = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_XYZ;
  return description != nullptr && (description->flags & rgb_flags) != 0;
}

// The scaler's name for "in the middle of the luma samples", which is where a plane that is not subsampled
// along an axis has its samples too.
constexpr int middle_position = -513;

/// Tells the scaler where the frame's chroma samples lie. An unmarked frame has them where MPEG-2 and all its
/// successors put them: at every other luma column, half-way between the rows.
void set_chroma_position(const AVFrame& frame, SwsContext& scaler) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  int x = 0, y = 0;
  const bool marked = av_chroma_location_enum_to_pos(&x, &y, frame.chroma_location) >= 0;
  if (!marked) static_cast<void>(av_chroma_location_enum_to_pos(&x, &y, AVCHROMA_LOC_LEFT));
  scaler.src_h_chr_pos = format->log2_chroma_w > 0 ? x : middle_position;
  scaler.src_v_chr_pos = format->log2_chroma_h > 0 ? y : middle_position;
}

ScalerPtr make_repacker(const AVFrame& frame, AVPixelFormat target_format) {
  ScalerPtr scaler(sws_alloc_context());
  if (!scaler) return nullptr;
  scaler->src_w = scaler->dst_w = frame.width;
  scaler->src_h = scaler->dst_h = frame.height;
  scaler->src_format = frame.format;
  scaler->dst_format = target_format;
  scaler->flags = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT;
  scaler->dither = SWS_DITHER_NONE;
  set_chroma_position(frame, *scaler);
  if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) return nullptr;
  // Naming the same range on both sides keeps the codes as they are.
  const int* coefficients = sws_getCoefficients(SWS_CS_DEFAULT);
  constexpr int one = 1 << 16;
  sws_setColorspaceDetails(scaler.get(), coefficients, 1, coefficients, 1, 0, one, one);
  return scaler;
}

/// The frame with its depth and chroma subsampling undone: 8-bit planar 4:4:4 with the same codes, or RGBA.
FramePtr repacked(const AVFrame& frame) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixelFormat target_format = holds_rgb(format) ? AV_PIX_FMT_RGBA : AV_PIX_FMT_YUV444P;
  if (sws_isSupportedInput(format) == 0) return nullptr;
  const ScalerPtr scaler = make_repacker(frame, target_format);
  FramePtr target = allocate_video_frame(target_format, {frame.width, frame.height});
  if (!scaler || !target) return nullptr;
  const int rows =
      sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, target->data, target->linesize);
  return rows == frame.height ? std::move(target) : nullptr;
}

const std::uint8_t* plane_row(const AVFrame& frame, std::size_t plane, int y) {
  return frame.data[plane] + static_cast<std::ptrdiff_t>(frame.linesize[plane]) * y;
}

void convert_row(const AVFrame& frame, int y, const ColorConverter& converter, Rgba* pixels) {
  const std::uint8_t* luma = plane_row(frame, 0, y);
  if (frame.format == AV_PIX_FMT_RGBA) {
    for (int x = 0; x < frame.width; ++x, luma += 4) pixels[x] = {luma[0], luma[1], luma[2]};
    return;
  }
  const std::uint8_t* cb = plane_row(frame, 1, y);
  const std::uint8_t* cr = plane_row(frame, 2, y);
  for (int x = 0; x < frame.width; ++x) pixels[x] = converter.rgb(luma[x], cb[x], cr[x]);
}

constexpr double system_gamma = 1.2;
constexpr double reference_white_signal = 0.75;
constexpr float knee = 0.75F;

/// Displayed light of the reference white, of the display's peak.
double reference_white() {
  return std::pow(linear_light(TransferCurve::hlg, reference_white_signal), system_gamma);
}

float luminance(LinearColor c, bool wide_gamut) {
  if (wide_gamut) return 0.2627F * c.red + 0.6780F * c.green + 0.0593F * c.blue;
  return 0.2126F * c.red + 0.7152F * c.green + 0.0722F * c.blue;
}

LinearColor scaled(LinearColor c, float factor) {
  return {c.red * factor, c.green * factor, c.blue * factor};
}

/// Steps 1 and 2: the light of an HLG display, of its reference white.
LinearColor hlg_display_light(LinearColor scene, bool wide_gamut) {
  static const auto white_scale = static_cast<float>(1.0 / reference_white());
  const float y = std::max(luminance(scene, wide_gamut), 0.0F);
  return scaled(scene, white_scale * std::pow(y, static_cast<float>(system_gamma - 1.0)));
}

LinearColor bt709_from_bt2020(LinearColor c) {
  return {std::max(1.6605F * c.red - 0.5876F * c.green - 0.0728F * c.blue, 0.0F),
          std::max(-0.1246F * c.red + 1.1329F * c.green - 0.0083F * c.blue, 0.0F),
          std::max(-0.0182F * c.red - 0.1006F * c.green + 1.1187F * c.blue, 0.0F)};
}

/// Step 4 for one value above the knee.
float rolled_off(float value) {
  static const auto peak = static_cast<float>((1.0 / reference_white() - knee) / (1.0 - knee));
  const float x = (value - knee) / (1.0F - knee);
  const float rolled = x * (1.0F + x / (peak * peak)) / (1.0F + x);
  return std::min(knee + (1.0F - knee) * rolled, 1.0F);
}

LinearColor tone_mapped(LinearColor c) {
  const float largest = std::max({c.red, c.green, c.blue});
  return largest <= knee ? c : scaled(c, rolled_off(largest) / largest);
}

LinearColor clamped(LinearColor c) {
  return {std::clamp(c.red, 0.0F, 1.0F), std::clamp(c.green, 0.0F, 1.0F), std::clamp(c.blue, 0.0F, 1.0F)};
}

}  // namespace

double linear_light(TransferCurve curve, double signal) {
  const double v = std::clamp(signal, 0.0, 1.0);
  double light = 0.0;
  switch (curve) {
    case TransferCurve::hlg:
      light = hlg_light(v);
      break;
    case TransferCurve::gamma22:
      light = std::pow(v, 2.2);
      break;
    case TransferCurve::srgb:
      light = srgb_light(v);
      break;
  }
  return std::clamp(light, 0.0, 1.0);
}

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

ImagePtr image_of_frame(const AVFrame& frame, const ColorConverter& converter, CpuWorkerPool& pool) {
  const FramePtr source = repacked(frame);
  ImagePtr image = SinglePlaneImage::create({frame.width, frame.height}, {});
  if (!source || !image) return nullptr;
  pool.run(frame.height, [&](std::int32_t y) { convert_row(*source, y, converter, image->row(y)); });
  return image;
}

DisplayColors::DisplayColors(const ColorConverter& converter)
    : hlg_(converter.hlg),
      wide_gamut_(converter.wide_gamut),
      curve_(converter.hlg ? TransferCurve::srgb : converter.curve) {
  for (std::size_t code = 0; code < thresholds_.size(); ++code) {
    thresholds_[code] = static_cast<float>(linear_light(curve_, (static_cast<double>(code) + 0.5) / 255.0));
  }
}

LinearColor DisplayColors::displayed(LinearColor recorded) const {
  LinearColor c = recorded;
  if (hlg_) c = hlg_display_light(c, wide_gamut_);
  if (wide_gamut_) c = bt709_from_bt2020(c);
  if (hlg_) c = tone_mapped(c);
  return clamped(c);
}

std::uint8_t DisplayColors::code(float light) const {
  // A search of eight steps without branches: millions of colours pass here.
  std::size_t below = 0;
  for (std::size_t step = 128; step > 0; step /= 2) {
    below += thresholds_[below + step - 1] <= light ? step : 0;
  }
  return static_cast<std::uint8_t>(below);
}

Rgba DisplayColors::encoded(LinearColor displayed) const {
  return {code(displayed.red), code(displayed.green), code(displayed.blue)};
}

LinearColor DisplayColors::decoded(Rgba color) const {
  const auto light = [this](std::uint8_t value) {
    return static_cast<float>(linear_light(curve_, value / 255.0));
  };
  return {light(color.red), light(color.green), light(color.blue)};
}

}  // namespace veyrin
