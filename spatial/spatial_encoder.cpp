#include "spatial/spatial_encoder.h"

#include "common/error_text.h"
#include "media/ffmpeg.h"
#include "spatial/spatial_metadata.h"

namespace veyrin {
namespace {

constexpr const char* open_failure =
    "could not start NVENC MV-HEVC; this requires Video Codec SDK 13 and compatible NVIDIA hardware/drivers";
constexpr const char* ten_bit_open_failure =
    "could not start 10-bit NVENC MV-HEVC; this requires the FFmpeg Main10 MV-HEVC patch, Video Codec SDK "
    "13, and compatible NVIDIA hardware/drivers";

void configure(const SpatialWriterConfig& config, AVCodecContext& context) {
  context.width = static_cast<int>(config.width);
  context.height = static_cast<int>(config.height);
  context.pix_fmt = spatial_pixel_format(config.ten_bit);
  context.framerate = config.frame_rate;
  context.time_base = av_inv_q(config.frame_rate);
  context.gop_size = group_of_pictures(config.frame_rate);
  context.bit_rate = config.bit_rate;
  context.color_primaries = config.colors.primaries;
  context.color_trc = config.colors.transfer;
  context.colorspace = config.colors.matrix;
  context.color_range = config.colors.range;
  context.chroma_sample_location = AVCHROMA_LOC_LEFT;
  context.field_order = AV_FIELD_PROGRESSIVE;
  context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
}

bool set_private_options(const SpatialEncoderCalls& calls, AVCodecContext& context, std::string& error) {
  int result = calls.set_option(&context, "profile", "mv");
  if (result < 0) {
    return fail_with_library_error(error, "FFmpeg hevc_nvenc does not expose MV-HEVC support", result);
  }
  calls.set_option(&context, "preset", "p4");
  calls.set_option(&context, "tune", "hq");
  result = calls.set_option(&context, "tier", "main");
  if (result < 0) return fail_with_library_error(error, "could not force Main-tier NVENC MV-HEVC", result);
  return true;
}

bool open(const SpatialWriterConfig& config, const SpatialEncoderCalls& calls, CodecContextPtr& context,
          std::string& error) {
  const AVCodec* codec = calls.find("hevc_nvenc");
  if (codec == nullptr) {
    return fail(
        error, "this FFmpeg build does not include the hevc_nvenc encoder needed for Windows MV-HEVC output");
  }
  context.reset(avcodec_alloc_context3(codec));
  if (!context) return fail(error, "could not allocate the NVENC MV-HEVC encoder");
  configure(config, *context);
  if (!attach_encoder_metadata(config, *context, error) || !set_private_options(calls, *context, error))
    return false;
  const int result = calls.open(context.get());
  if (result < 0) {
    return fail_with_library_error(error, config.ten_bit ? ten_bit_open_failure : open_failure, result);
  }
  return append_reference_displays_sei(*context, error);
}

}  // namespace

AVPixelFormat spatial_pixel_format(bool ten_bit) {
  return ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_NV12;
}

CodecContextPtr open_spatial_encoder(const SpatialWriterConfig& config, const SpatialEncoderCalls& calls,
                                     std::string& error) {
  CodecContextPtr context;
  if (!open(config, calls, context, error)) return nullptr;
  return context;
}

}  // namespace veyrin
