#include "spatial/eye_converter.h"

#include "common/error_text.h"
#include "media/ffmpeg.h"

namespace veyrin {
namespace {

constexpr int full_range = 1;
constexpr int unchanged = 1 << 16;  // 1.0 in 16.16 fixed point

ScalerPtr make_scaler(int width, int height, AVPixelFormat source, AVPixelFormat target) {
  return ScalerPtr(
      sws_getContext(width, height, source, width, height, target, SWS_BICUBIC, nullptr, nullptr, nullptr));
}

[[nodiscard]] bool set_colors(const AVFrame& target, SwsContext& scaler) {
  const int* table = sws_getCoefficients(swscale_coefficients(target.colorspace));
  const int target_range = target.color_range == AVCOL_RANGE_JPEG ? full_range : 0;
  return sws_setColorspaceDetails(&scaler, table, full_range, table, target_range, /*brightness=*/0,
                                  /*contrast=*/unchanged, /*saturation=*/unchanged) >= 0;
}

}  // namespace

int swscale_coefficients(AVColorSpace matrix) {
  switch (matrix) {
    case AVCOL_SPC_BT709:
      return SWS_CS_ITU709;
    case AVCOL_SPC_FCC:
      return SWS_CS_FCC;
    case AVCOL_SPC_SMPTE240M:
      return SWS_CS_SMPTE240M;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      return SWS_CS_BT2020;
    default:
      return SWS_CS_DEFAULT;
  }
}

std::unique_ptr<EyeConverter> EyeConverter::create(const AVFrame& target, std::string& error) {
  const AVPixelFormat source = target.format == AV_PIX_FMT_NV12 ? AV_PIX_FMT_BGR24 : AV_PIX_FMT_BGR48LE;
  ScalerPtr scaler =
      make_scaler(target.width, target.height, source, static_cast<AVPixelFormat>(target.format));
  if (!scaler) {
    error = "could not create spatial color converters";
    return nullptr;
  }
  if (!set_colors(target, *scaler)) {
    error = "could not configure spatial color conversion";
    return nullptr;
  }
  return std::unique_ptr<EyeConverter>(new EyeConverter(std::move(scaler), source));
}

bool EyeConverter::convert(const AVFrame& eye, AVFrame& target, std::string& error) {
  const int writable = av_frame_make_writable(&target);
  if (writable < 0) return fail_with_library_error(error, "could not prepare MV-HEVC eye frame", writable);
  if (!fit_to(eye, target)) return fail(error, "could not create spatial YUV converter");
  const int rows =
      sws_scale(scaler_.get(), eye.data, eye.linesize, 0, eye.height, target.data, target.linesize);
  if (rows != target.height) return fail(error, "could not convert a rectified eye for MV-HEVC encoding");
  return true;
}

// The library's own cache would hand the target's range on to the new scaler, which then stretches codes that
// have that range already.
bool EyeConverter::fit_to(const AVFrame& eye, const AVFrame& target) {
  if (scaler_ && eye.format == source_) return true;
  source_ = static_cast<AVPixelFormat>(eye.format);
  scaler_ = make_scaler(eye.width, eye.height, source_, static_cast<AVPixelFormat>(target.format));
  return scaler_ != nullptr;
}

}  // namespace veyrin
