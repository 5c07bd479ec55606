#include "spatial/spatial_video_writer.h"

#include <array>
#include <cstddef>
#include <utility>

#include "common/error_text.h"
#include "media/ffmpeg.h"
#include "spatial/spatial_movie_file.h"

namespace veyrin {
namespace {

constexpr std::size_t views = 2;  // 0: left, 1: right

class FfmpegSpatialVideoWriter final : public SpatialVideoWriter {
 public:
  explicit FfmpegSpatialVideoWriter(std::unique_ptr<TwoViewEncoder> encoder) : encoder_(std::move(encoder)) {}

  [[nodiscard]] bool open(const SpatialWriterConfig& config, std::string& error) {
    file_ = SpatialMovieFile::create(config, encoder_->parameters(), encoder_->time_base(), error);
    return file_ && prepare_frames(error) && create_converters(error);
  }

  bool write_eye_pair(const AVFrame& left, const AVFrame& right, std::int64_t pts,
                      std::string& error) override {
    if (!has_eye_size(left) || !has_eye_size(right)) {
      return fail(error, "rectified eye frame does not match the spatial writer size");
    }
    if (!converters_[0]->convert(left, *frames_[0], error) ||
        !converters_[1]->convert(right, *frames_[1], error)) {
      return false;
    }
    for (const FramePtr& frame : frames_) frame->pts = pts;
    return encoder_->encode(*frames_[0], *frames_[1], sample_sink(), error);
  }

  [[nodiscard]] bool has_audio() const override { return file_->has_audio(); }

  bool write_audio_packet(const AVPacket& packet, std::string& error) override {
    return file_->write_audio_packet(packet, error);
  }

  bool finish(std::string& error) override {
    if (finished_) return true;
    finished_ = encoder_->drain(sample_sink(), error) && file_->finish(error);
    return finished_;
  }

 private:
  [[nodiscard]] bool prepare_frames(std::string& error) {
    for (std::size_t view = 0; view < views; ++view) {
      frames_[view].reset(av_frame_alloc());
      if (!frames_[view]) return false;
    }
    return encoder_->prepare_frame(0, *frames_[0], error) && encoder_->prepare_frame(1, *frames_[1], error);
  }

  [[nodiscard]] bool create_converters(std::string& error) {
    for (std::size_t view = 0; view < views; ++view) {
      converters_[view] = EyeConverter::create(*frames_[view], error);
      if (!converters_[view]) return false;
    }
    return true;
  }

  [[nodiscard]] bool has_eye_size(const AVFrame& eye) const {
    return eye.width == frames_[0]->width && eye.height == frames_[0]->height;
  }

  TwoViewEncoder::SampleSink sample_sink() {
    return [this](AVPacket& sample, std::string& error) { return file_->write_sample(sample, error); };
  }

  std::unique_ptr<TwoViewEncoder> encoder_;
  std::unique_ptr<SpatialMovieFile> file_;
  std::array<FramePtr, views> frames_;
  std::array<std::unique_ptr<EyeConverter>, views> converters_;
  bool finished_ = false;
};

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

std::unique_ptr<SpatialVideoWriter> SpatialVideoWriter::create(const SpatialWriterConfig& config,
                                                               std::unique_ptr<TwoViewEncoder> encoder,
                                                               std::string& error) {
  auto writer = std::make_unique<FfmpegSpatialVideoWriter>(std::move(encoder));
  if (!writer->open(config, error)) return nullptr;
  return writer;
}

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
