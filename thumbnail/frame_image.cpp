#include "thumbnail/frame_image.h"

#include "media/ffmpeg.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin {
namespace {

bool holds_rgb(AVPixelFormat format) {
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
  constexpr std::uint64_t rgb_flags = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_XYZ;
  return description != nullptr && (description->flags & rgb_flags) != 0;
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
  FramePtr target = allocate_video_frame(target_format, frame.width, frame.height);
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

}  // namespace

std::shared_ptr<SinglePlaneImage> image_of_frame(const AVFrame& frame, const ColorConverter& converter) {
  const FramePtr source = repacked(frame);
  auto image = SinglePlaneImage::create(frame.width, frame.height, {});
  if (!source || !image) return nullptr;
  for (int y = 0; y < frame.height; ++y) convert_row(*source, y, converter, image->row(y));
  return image;
}

}  // namespace veyrin
