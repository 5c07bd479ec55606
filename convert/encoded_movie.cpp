#include "convert/encoded_movie.h"

#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "convert/chroma_upsampler.h"
#include "convert/frame_packing_sei.h"
#include "convert/output_container.h"
#include "convert/sbs_stereo_metadata.h"
#include "media/ffmpeg.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin {
namespace {

// The words for one pass over the encoder's packets; they differ between encoding and the final flush.
struct DrainMessages {
  const char* receive;
  const char* write;
};

constexpr DrainMessages encode_messages{"could not receive an encoded packet",
                                        "could not write an encoded packet"};
constexpr DrainMessages flush_messages{"could not flush an encoded packet",
                                       "could not write a flushed packet"};

class EncodedMovie final : public MovieSink {
 public:
  explicit EncodedMovie(EncodedMovieRequest request)
      : request_(std::move(request)), encoder_(*request_.encoder), packet_(av_packet_alloc()) {}

  bool open(std::string& error) {
    return create_muxer(error) && create_video_stream(error) && create_audio_stream(error) &&
           describe_stereo(error) && write_header(error) && allocate_frames(error);
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

  [[nodiscard]] bool accepts_audio() const override { return audio_stream_ != nullptr; }

  bool write_audio(AVPacket& packet, std::string& error) override {
    av_packet_rescale_ts(&packet, source_audio_time_base_, audio_stream_->time_base);
    packet.stream_index = audio_stream_->index;
    packet.pos = -1;
    const int result = av_interleaved_write_frame(muxer_.get(), &packet);
    if (result < 0) return fail_with_library_error(error, "could not write an audio packet", result);
    return true;
  }

  bool finish(std::string& error) override {
    int result = avcodec_send_frame(&encoder_, nullptr);
    if (result < 0) return fail_with_library_error(error, "could not flush the video encoder", result);
    if (!drain(flush_messages, error)) return false;
    result = av_write_trailer(muxer_.get());
    // Closing writes what is still buffered, and that can fail too.
    const int closed = avio_closep(&muxer_->pb);
    if (result >= 0) result = closed;
    if (result < 0) return fail_with_library_error(error, "could not finalize output", result);
    return true;
  }

 private:
  bool create_muxer(std::string& error) {
    AVFormatContext* muxer = nullptr;
    const int result = avformat_alloc_output_context2(&muxer, request_.container, nullptr,
                                                      media_url(request_.output).c_str());
    muxer_.reset(muxer);
    if (result < 0) return fail_with_library_error(error, "could not open output", result);
    return true;
  }

  bool create_video_stream(std::string& error) {
    video_stream_ = avformat_new_stream(muxer_.get(), nullptr);
    if (video_stream_ == nullptr) return fail(error, "could not create the output video stream");
    const int result = avcodec_parameters_from_context(video_stream_->codecpar, &encoder_);
    if (result < 0) return fail_with_library_error(error, "could not configure the output stream", result);
    // Players of the QuickTime family want the parameter sets in the sample entry only.
    if (encoder_.codec_id == AV_CODEC_ID_HEVC && is_mp4_family(*muxer_->oformat)) {
      video_stream_->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
    }
    video_stream_->time_base = encoder_.time_base;
    video_stream_->avg_frame_rate = encoder_.framerate;
    return true;
  }

  bool create_audio_stream(std::string& error) {
    const AVStream* source = request_.source_audio;
    if (source == nullptr) return true;
    audio_stream_ = avformat_new_stream(muxer_.get(), nullptr);
    if (audio_stream_ == nullptr) return fail(error, "could not create the output audio stream");
    const int result = avcodec_parameters_copy(audio_stream_->codecpar, source->codecpar);
    if (result < 0)
      return fail_with_library_error(error, "could not copy the input audio parameters", result);
    // The muxer picks the tag of its own container.
    audio_stream_->codecpar->codec_tag = 0;
    audio_stream_->time_base = source_audio_time_base_ = source->time_base;
    audio_stream_->disposition = source->disposition;
    av_dict_copy(&audio_stream_->metadata, source->metadata, 0);
    console_line("  audio: stream copy (%s)", avcodec_get_name(source->codecpar->codec_id));
    return true;
  }

  bool describe_stereo(std::string& error) {
    if (!request_.st3d) return true;
    // The MP4 muxer leaves the box out at stricter settings, because it is not part of that standard.
    muxer_->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    return attach_sbs_stereo_metadata(*video_stream_->codecpar,
                                      "could not attach SBS metadata to the output stream", error);
  }

  bool write_header(std::string& error) {
    if ((muxer_->oformat->flags & AVFMT_NOFILE) == 0) {
      const int result = avio_open(&muxer_->pb, media_url(request_.output).c_str(), AVIO_FLAG_WRITE);
      if (result < 0) return fail_with_library_error(error, "could not open output", result);
    }
    const int result = avformat_write_header(muxer_.get(), nullptr);
    if (result < 0) return fail_with_library_error(error, "could not write the output header", result);
    return true;
  }

  bool allocate_frames(std::string& error) {
    frame_.reset(on_gpu()
                     ? av_frame_alloc()
                     : allocate_video_frame(encoder_.pix_fmt, encoder_.width, encoder_.height).release());
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
  bool take_surface(std::string& error) {
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
  bool drain(const DrainMessages& messages, std::string& error) {
    while (true) {
      int result = avcodec_receive_packet(&encoder_, packet_.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
      if (result < 0) return fail_with_library_error(error, messages.receive, result);
      if (request_.frame_packing_sei && !add_frame_packing_sei(encoder_.codec_id, *packet_, error))
        return false;
      // Without a duration the last frame's is unknown, and the muxer's edit list would end before it.
      if (packet_->duration == 0) packet_->duration = 1;
      av_packet_rescale_ts(packet_.get(), encoder_.time_base, video_stream_->time_base);
      packet_->stream_index = video_stream_->index;
      result = av_interleaved_write_frame(muxer_.get(), packet_.get());
      av_packet_unref(packet_.get());
      if (result < 0) return fail_with_library_error(error, messages.write, result);
    }
  }

  EncodedMovieRequest request_;
  AVCodecContext& encoder_;
  OutputContextPtr muxer_;
  AVStream* video_stream_ = nullptr;
  AVStream* audio_stream_ = nullptr;
  AVRational source_audio_time_base_{0, 1};
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
