#include "convert/encoded_movie.h"

#include <optional>
#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "convert/sbs_stereo_metadata.h"
#include "media/movie_file.h"
#include "media/sound_copy.h"

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

/// Holds an intermediate 10-bit 4:2:0 canvas and brings it into the 4:2:2 format of ProRes encoders.
class ChromaUpsampler {
 public:
  /// `encoder_frame` gives the size and the target format. Null with one message in `error` on failure.
  [[nodiscard]] static std::unique_ptr<ChromaUpsampler> create(const AVFrame& encoder_frame,
                                                               std::string& error) {
    constexpr AVPixelFormat canvas_format = AV_PIX_FMT_YUV420P10LE;
    const Size size{encoder_frame.width, encoder_frame.height};
    std::unique_ptr<ChromaUpsampler> upsampler(new ChromaUpsampler);
    upsampler->canvas_ = allocate_video_frame(canvas_format, size);
    if (!upsampler->canvas_) {
      error = "could not allocate the intermediate 4:2:0 ProRes frame";
      return nullptr;
    }
    upsampler->canvas_->color_range = encoder_frame.color_range;
    upsampler->scaler_.reset(sws_getContext(size.width, size.height, canvas_format, size.width, size.height,
                                            static_cast<AVPixelFormat>(encoder_frame.format), SWS_BICUBIC,
                                            nullptr, nullptr, nullptr));
    if (upsampler->scaler_) return upsampler;
    error = "could not create the ProRes 4:2:0 to 4:2:2 converter";
    return nullptr;
  }

  AVFrame* canvas() { return canvas_.get(); }

  /// Writes the canvas into the encoder's frame.
  [[nodiscard]] bool upsample(AVFrame& encoder_frame, std::string& error) {
    if (av_frame_make_writable(&encoder_frame) < 0) {
      return fail(error, "could not make the ProRes encoder frame writable");
    }
    const int rows = sws_scale(scaler_.get(), canvas_->data, canvas_->linesize, 0, canvas_->height,
                               encoder_frame.data, encoder_frame.linesize);
    if (rows < 0) return fail_with_library_error(error, "ProRes chroma upsampling failed", rows);
    encoder_frame.chroma_location = canvas_->chroma_location;
    return true;
  }

 private:
  ChromaUpsampler() = default;

  FramePtr canvas_;
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

  std::span<AVFrame* const> next_canvases(std::string& error) override {
    canvas_upsampled_ = false;
    if (on_gpu() && !take_surface(error)) return {};
    return {&canvas_, 1};
  }

  bool write_canvases(std::int64_t index, std::string& error) override {
    if (upsampler_ && !canvas_upsampled_) {
      if (!upsampler_->upsample(*frame_, error)) return false;
      canvas_upsampled_ = true;
    }
    // The encoder's time base is one output frame, so the index is the time, exactly.
    frame_->pts = index;
    frame_->duration = 1;
    const int result = avcodec_send_frame(&encoder_, frame_.get());
    if (result < 0) return fail_with_library_error(error, "video encoding failed", result);
    return drain(encode_messages, error);
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
    const AVOutputFormat& container = file_->container();
    if (request_.audio == nullptr || can_copy_sound(container.name, *request_.audio)) return true;
    const bool matroska_helps = av_guess_format("matroska", nullptr, nullptr) != nullptr &&
                                can_copy_sound("matroska", *request_.audio);
    return fail(error,
                sound_failure_text(*request_.audio, std::string("an output of the kind ") + container.name,
                                   matroska_helps ? ".mkv" : ""));
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
    audio_ = file_->add_audio_track(*source->codecpar, source->time_base, error);
    if (!audio_) return false;
    AVStream& stream = file_->stream(*audio_);
    stream.disposition = source->disposition;
    av_dict_copy(&stream.metadata, source->metadata, 0);
    console_line("  audio: stream copy (%s)", avcodec_get_name(source->codecpar->codec_id));
    return true;
  }

  [[nodiscard]] bool describe_stereo(std::string& error) {
    if (!request_.st3d) return true;
    file_->allow_unofficial_boxes();
    return attach_sbs_stereo_metadata(*file_->stream(video_).codecpar,
                                      "could not attach SBS metadata to the output stream", error);
  }

  [[nodiscard]] bool allocate_frames(std::string& error) {
    frame_ = on_gpu() ? FramePtr(av_frame_alloc())
                      : allocate_video_frame(encoder_.pix_fmt, {encoder_.width, encoder_.height});
    if (!frame_ || !packet_) return fail(error, "could not allocate the encoder frame");
    describe_colors(*frame_);
    canvas_ = frame_.get();
    if (encoder_.codec_id != AV_CODEC_ID_PRORES) return true;
    upsampler_ = ChromaUpsampler::create(*frame_, error);
    if (upsampler_) canvas_ = upsampler_->canvas();
    return upsampler_ != nullptr;
  }

  [[nodiscard]] bool on_gpu() const { return encoder_.hw_frames_ctx != nullptr; }

  // The encoder may still read the surfaces of earlier frames, so each frame gets one of its own.
  [[nodiscard]] bool take_surface(std::string& error) {
    av_frame_unref(frame_.get());
    if (av_hwframe_get_buffer(encoder_.hw_frames_ctx, frame_.get(), 0) < 0)
      return fail(error, "could not allocate a GPU encoder surface");
    describe_colors(*frame_);
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
  FramePtr frame_;
  std::unique_ptr<ChromaUpsampler> upsampler_;
  AVFrame* canvas_ = nullptr;  // the upsampler's or the encoder's
  bool canvas_upsampled_ = false;
};

}  // namespace

std::unique_ptr<MovieSink> create_encoded_movie(EncodedMovieRequest request, std::string& error) {
  auto movie = std::make_unique<EncodedMovie>(std::move(request));
  if (!movie->open(error)) return nullptr;
  return movie;
}

}  // namespace veyrin
