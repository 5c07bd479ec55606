#include "convert/spatial_movie.h"

#include <array>
#include <utility>

#include "common/error_text.h"
#include "decode/nvenc_probe.h"
#include "media/ffmpeg.h"
#include "spatial/spatial_encoder.h"

namespace veyrin {
namespace {

class SpatialMovie final : public MovieSink {
 public:
  SpatialMovie(std::unique_ptr<SpatialVideoWriter> writer, FramePtr left, FramePtr right)
      : writer_(std::move(writer)),
        left_(std::move(left)),
        right_(std::move(right)),
        canvases_{left_.get(), right_.get()} {}

  std::span<AVFrame* const> next_canvases(std::string& /*error*/) override { return canvases_; }

  bool write_canvases(std::int64_t index, std::string& error) override {
    return writer_->write_eye_pair(*left_, *right_, index, error);
  }

  [[nodiscard]] bool accepts_audio() const override { return writer_->has_audio(); }

  bool write_audio(AVPacket& packet, std::string& error) override {
    return writer_->write_audio_packet(packet, error);
  }

  bool finish(std::string& error) override { return writer_->finish(error); }

 private:
  std::unique_ptr<SpatialVideoWriter> writer_;
  FramePtr left_;
  FramePtr right_;
  std::array<AVFrame*, 2> canvases_;
};

}  // namespace

bool check_spatial_support(const DirectSpatialRequest& request, const ConversionOptions& options,
                           std::string& error) {
  const bool ten_bit = request.geometry.hdr;
  if (!options.software && !probe_stereo_mv_hevc_support(request.eye.width, request.eye.height, ten_bit)) {
    return fail(error, "Stereo MV-HEVC is not supported by the NVIDIA GPU and driver");
  }
  SpatialWriterConfig config;
  if (!plan_direct_spatial(request, options, config, error)) return false;
  return !options.software || open_spatial_encoder(config, ffmpeg_spatial_encoder_calls(), error) != nullptr;
}

std::unique_ptr<MovieSink> create_spatial_movie(const DirectSpatialRequest& request,
                                                const ConversionOptions& options, std::string& error) {
  const auto make_canvas = [&request] {
    return allocate_video_frame(spatial_pixel_format(request.geometry.hdr), request.eye.width,
                                request.eye.height);
  };
  FramePtr left = make_canvas();
  FramePtr right = make_canvas();
  if (!left || !right) {
    error = "could not allocate the encoder frame";
    return nullptr;
  }
  auto writer = create_direct_spatial(request, options, error);
  if (!writer) return nullptr;
  return std::make_unique<SpatialMovie>(std::move(writer), std::move(left), std::move(right));
}

}  // namespace veyrin
