#include "convert/encoded_movie.h"

#include <optional>
#include <utility>

#include "common/error_text.h"
#include "convert/recorded_sound.h"
#include "convert/sbs_stereo_metadata.h"
#include "media/frame_pool.h"
#include "media/movie_file.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin {
namespace {

constexpr MovieMessages messages{
    .create = {"could not open output"},
    .add_video = "could not create the output video stream",
    .configure_video = {"could not configure the output stream"},
    .add_copy = "could not create the output audio stream",
    .configure_copy = {"could not copy the input audio parameters"},
    .open = {"could not open output"},
    .write_header = {"could not write the output header"},
    .finish = {"could not finalize output"},
};

/// What a pass over the encoder's packets says of failures: encoding and the final flush differ.
struct DrainMessages {
  const char* receive;
  const char* write;
};

constexpr DrainMessages encode_messages{"could not receive an encoded packet",
                                        "could not write an encoded packet"};
constexpr DrainMessages flush_messages{"could not flush an encoded packet",
                                       "could not write a flushed packet"};

/// Brings 10-bit 4:2:0 canvases into the 4:2:2 format of ProRes encoders.
class ChromaUpsampler {
 public:
  static constexpr AVPixelFormat canvas_format = AV_PIX_FMT_YUV420P10LE;

  /// `encoder` gives the size and the target format. Null with one message in `error` on failure.
  [[nodiscard]] static std::unique_ptr<ChromaUpsampler> create(const AVCodecContext& encoder,
                                                               std::string& error) {
    const Size size{encoder.width, encoder.height};
    ScalerPtr scaler(sws_getContext(size.width, size.height, canvas_format, size.width, size.height,
                                    encoder.pix_fmt, SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!scaler) {
      error = "could not create the ProRes 4:2:0 to 4:2:2 converter";
      return nullptr;
    }
    FramePool frames(encoder.pix_fmt, size, RowLayout::aligned);
    FramePtr first = frames.take();
    if (!first) {
      error = "could not allocate the encoder frame";
      return nullptr;
    }
    frames.give_back(std::move(first));
    return std::unique_ptr<ChromaUpsampler>(new ChromaUpsampler(std::move(frames), std::move(scaler)));
  }

  /// The canvas as a frame for the encoder; null with one message in `error` on failure.
  [[nodiscard]] FramePtr upsample(const AVFrame& canvas, std::string& error) {
    FramePtr frame = frames_.take();
    if (!frame) {
      error = "could not make the ProRes encoder frame writable";
      return nullptr;
    }
    const int rows = sws_scale(scaler_.get(), canvas.data, canvas.linesize, 0, canvas.height, frame->data,
                               frame->linesize);
    frame->chroma_location = canvas.chroma_location;
    if (rows >= 0) return frame;
    error = with_library_error("ProRes chroma upsampling failed", rows);
    return nullptr;
  }

  /// Takes a frame back that the encoder may still hold.
  void give_back(FramePtr frame) { frames_.give_back(std::move(frame)); }

 private:
  ChromaUpsampler(FramePool frames, ScalerPtr scaler)
      : frames_(std::move(frames)), scaler_(std::move(scaler)) {}

  FramePool frames_;
  ScalerPtr scaler_;
};

class EncodedMovie final : public MovieSink {
 public:
  explicit EncodedMovie(EncodedMovieRequest request)
      : request_(std::move(request)), encoder_(*request_.encoder), packet_(av_packet_alloc()) {}

  [[nodiscard]] bool open(std::string& error) {
    file_ = MovieFile::create(request_.output, request_.container, messages, error);
    if (!file_ || !check_sound(error) || !add_video_track(error) || !add_audio_track(error) ||
        !describe_stereo(error))
      return false;
    Dictionary no_options;
    return file_->write_header(no_options, error) && allocate_frames(error);
  }

  Canvases next_canvases(std::string& error) override {
    return on_gpu() ? take_surface(error) : canvases_->take(error);
  }

  bool write_canvases(Canvases canvases, FrameRun run, std::string& error) override {
    if (!upsampler_) {
      if (!encode(*canvases.front(), run, error)) return false;
    } else {
      FramePtr frame = upsampler_->upsample(*canvases.front(), error);
      if (!frame || !encode(*frame, run, error)) return false;
      upsampler_->give_back(std::move(frame));
    }
    if (canvases_) canvases_->give_back(std::move(canvases));
    return true;
  }

  [[nodiscard]] bool accepts_audio() const override { return audio_.has_value(); }

  bool write_audio(AVPacket& packet, std::string& error) override {
    return file_->write(*audio_, packet, {"could not write an audio packet"}, error);
  }

  bool finish(std::string& error) override {
    const int result = avcodec_send_frame(&encoder_, nullptr);
    if (result < 0) return fail_with_library_error(error, "could not flush the video encoder", result);
    return drain(flush_messages, error) && file_->finish(error);
  }

 private:
  [[nodiscard]] bool check_sound(std::string& error) const {
    return request_.audio == nullptr || check_recorded_sound(file_->container(), *request_.audio, error);
  }

  [[nodiscard]] bool add_video_track(std::string& error) {
    CodecParametersPtr parameters;
    const int result = copy_parameters(encoder_, parameters);
    if (result < 0) return fail_with_library_error(error, messages.configure_video.text, result);
    const auto track = file_->add_video_track(*parameters, encoder_.time_base, encoder_.framerate, error);
    video_ = track.value_or(-1);
    return track.has_value();
  }

  [[nodiscard]] bool add_audio_track(std::string& error) {
    const AVStream* source = std::exchange(request_.audio, nullptr);
    if (source == nullptr) return true;
    audio_ = add_recorded_sound(*file_, *source, error);
    return audio_.has_value();
  }

  [[nodiscard]] bool describe_stereo(std::string& error) {
    if (!request_.st3d) return true;
    file_->allow_unofficial_boxes();
    return attach_sbs_stereo_metadata(*file_->stream(video_).codecpar,
                                      "could not attach SBS metadata to the output stream", error);
  }

  [[nodiscard]] bool allocate_frames(std::string& error) {
    CanvasKind kind{.format = encoder_.pix_fmt, .size = {encoder_.width, encoder_.height}};
    if (!packet_) return fail(error, kind.no_memory);
    if (encoder_.codec_id == AV_CODEC_ID_PRORES) {
      upsampler_ = ChromaUpsampler::create(encoder_, error);
      if (!upsampler_) return false;
      kind.format = ChromaUpsampler::canvas_format;
      kind.no_memory = "could not allocate the intermediate 4:2:0 ProRes frame";
    }
    if (!on_gpu()) canvases_ = CanvasPool::create(kind, error);
    return on_gpu() || canvases_ != nullptr;
  }

  [[nodiscard]] bool on_gpu() const { return encoder_.hw_frames_ctx != nullptr; }

  // The encoder may still read the surfaces of earlier frames, so each frame gets one of its own.
  [[nodiscard]] Canvases take_surface(std::string& error) const {
    Canvases canvases;
    canvases.emplace_back(av_frame_alloc());
    if (canvases.front() && av_hwframe_get_buffer(encoder_.hw_frames_ctx, canvases.front().get(), 0) >= 0)
      return canvases;
    error = "could not allocate a GPU encoder surface";
    return {};
  }

  [[nodiscard]] bool encode(AVFrame& frame, FrameRun run, std::string& error) {
    describe_colors(frame);
    for (std::int64_t index = run.first; index < run.first + run.count; ++index) {
      // The encoder's time base is one output frame, so the index is the time, exactly.
      frame.pts = index;
      frame.duration = 1;
      const int result = avcodec_send_frame(&encoder_, &frame);
      if (result < 0) return fail_with_library_error(error, "video encoding failed", result);
      if (!drain(encode_messages, error)) return false;
    }
    return true;
  }

  // Some encoders write the frame's tags into the stream, not the context's.
  void describe_colors(AVFrame& frame) const {
    frame.color_primaries = encoder_.color_primaries;
    frame.color_trc = encoder_.color_trc;
    frame.colorspace = encoder_.colorspace;
    frame.color_range = encoder_.color_range;
  }

  // Writes every packet the encoder has ready.
  [[nodiscard]] bool drain(const DrainMessages& words, std::string& error) {
    while (true) {
      const int result = avcodec_receive_packet(&encoder_, packet_.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
      if (result < 0) return fail_with_library_error(error, words.receive, result);
      if (request_.frame_packing_sei && !add_frame_packing_sei(encoder_.codec_id, *packet_, error))
        return false;
      const bool written = file_->write(video_, *packet_, {words.write}, error);
      av_packet_unref(packet_.get());
      if (!written) return false;
    }
  }

  EncodedMovieRequest request_;
  AVCodecContext& encoder_;
  std::unique_ptr<MovieFile> file_;
  int video_ = -1;
  std::optional<int> audio_;
  PacketPtr packet_;
  std::unique_ptr<CanvasPool> canvases_;  // null on the GPU
  std::unique_ptr<ChromaUpsampler> upsampler_;
};

}  // namespace

std::unique_ptr<MovieSink> create_encoded_movie(EncodedMovieRequest request, std::string& error) {
  auto movie = std::make_unique<EncodedMovie>(std::move(request));
  if (!movie->open(error)) return nullptr;
  return movie;
}

}  // namespace veyrin
