#include "convert/packaged_movie.h"

#include <array>
#include <utility>

#include "common/error_text.h"
#include "media/ffmpeg.h"

namespace veyrin {
namespace {

class PackagedMovie final : public MovieSink {
 public:
  PackagedMovie(std::unique_ptr<PackagedSoftwareEncoder> encoder, FramePtr canvas)
      : encoder_(std::move(encoder)), canvas_(std::move(canvas)), canvases_{canvas_.get()} {}

  std::span<AVFrame* const> next_canvases(std::string& /*error*/) override { return canvases_; }

  bool write_canvases(std::int64_t /*index*/, std::string& error) override {
    return encoder_->write_frame(canvas_.get(), error);
  }

  // The child copies the audio from the recording itself.
  [[nodiscard]] bool accepts_audio() const override { return false; }

  bool write_audio(AVPacket& /*packet*/, std::string& error) override {
    return fail(error, "could not write an audio packet");
  }

  bool finish(std::string& error) override { return encoder_->finish(error); }

 private:
  std::unique_ptr<PackagedSoftwareEncoder> encoder_;
  FramePtr canvas_;
  std::array<AVFrame*, 1> canvases_;
};

}  // namespace

std::unique_ptr<MovieSink> create_packaged_movie(const SoftwareEncodeRequest& request, std::string& error) {
  FramePtr canvas = allocate_video_frame(request.ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_YUV420P,
                                         request.width, request.height);
  if (!canvas) {
    error = "could not allocate the encoder frame";
    return nullptr;
  }
  auto encoder = PackagedSoftwareEncoder::create(request, error);
  if (!encoder) return nullptr;
  return std::make_unique<PackagedMovie>(std::move(encoder), std::move(canvas));
}

}  // namespace veyrin
