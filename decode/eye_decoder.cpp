#include "decode/eye_decoder.h"

#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/program.h"
#include "decode/hardware_only.h"
#include "media/ffmpeg.h"
#include "media/video_types.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace veyrin {
namespace {

// Surfaces stay in use in the frame queue and at the GPU processor while the decoder goes on.
constexpr int extra_hardware_frames = 16;

double presentation_seconds(const AVFrame& frame, AVRational time_base) {
  if (frame.best_effort_timestamp == AV_NOPTS_VALUE) return 0.0;
  return static_cast<double>(frame.best_effort_timestamp) * av_q2d(time_base);
}

/// The messages of a decoder that could not be made.
struct ContextFailures {
  const char* allocation;
  const char* parameters;
};

[[nodiscard]] CodecContextPtr make_context(const AVCodec& decoder, const AVStream& stream,
                                           const ContextFailures& failures, std::string& error) {
  CodecContextPtr context(avcodec_alloc_context3(&decoder));
  if (context == nullptr) {
    error = failures.allocation;
    return nullptr;
  }
  const int status = avcodec_parameters_to_context(context.get(), stream.codecpar);
  if (status < 0) {
    error = with_library_error(failures.parameters, status);
    return nullptr;
  }
  context->pkt_timebase = stream.time_base;
  return context;
}

// Threads are for software: the hardware does not decode faster with them.
void use_all_threads(AVCodecContext& context) {
  context.thread_count = 0;
}

}  // namespace

EyeDecoder::EyeDecoder(AVStream& stream, const DecoderCalls& calls)
    : calls_(calls), stream_(stream), bit_depth_(stream_bit_depth(*stream.codecpar)) {}

std::unique_ptr<EyeDecoder> EyeDecoder::create(AVStream& stream, DecoderPreference preference,
                                               AVBufferRef* shared_device, std::string& error,
                                               const DecoderCalls& calls) {
  std::unique_ptr<EyeDecoder> eye(new EyeDecoder(stream, calls));
  return eye->open(preference, shared_device, error) ? std::move(eye) : nullptr;
}

bool EyeDecoder::open(DecoderPreference preference, AVBufferRef* shared_device, std::string& error) {
  const AVCodec* decoder = avcodec_find_decoder(stream_.codecpar->codec_id);
  if (decoder == nullptr) {
    return fail(error, "no decoder is available for video stream " + std::to_string(stream_.index));
  }
  context_ =
      make_context(*decoder, stream_,
                   {"could not allocate a video decoder", "could not initialize a video decoder"}, error);
  if (context_ == nullptr) return false;
  received_frame_.reset(av_frame_alloc());
  if (received_frame_ == nullptr) return fail(error, "could not allocate a video decoder");

  const bool want_hardware = preference == DecoderPreference::hardware &&
                             !platform::environment_switch("VEYRIN_DISABLE_D3D11VA_DECODE");
  const bool with_device = want_hardware && set_up_hardware(*decoder, shared_device);
  if (!with_device) use_all_threads(*context_);
  const int status = calls_.open(context_.get(), decoder);
  if (status < 0 && with_device) {
    console_line("  hardware decoder could not open stream %d: %s; retrying software decode", stream_.index,
                 library_error_text(status).c_str());
    return open_software(*decoder, error);
  }
  if (status < 0) return fail_with_library_error(error, "could not open a video decoder", status);
  return true;
}

// Replaces a decoder that was set up for the hardware.
bool EyeDecoder::open_software(const AVCodec& decoder, std::string& error) {
  hardware_ = Hardware::unused;
  context_ = make_context(
      decoder, stream_,
      {"could not allocate a software video decoder", "could not initialize a software video decoder"},
      error);
  if (context_ == nullptr) return false;
  use_all_threads(*context_);
  const int status = calls_.open(context_.get(), &decoder);
  if (status < 0) return fail_with_library_error(error, "could not open a video decoder", status);
  return true;
}

bool EyeDecoder::set_up_hardware(const AVCodec& decoder, AVBufferRef* shared_device) {
  if (!calls_.offers_d3d11va(decoder)) return false;
  AVBufferRef* device = nullptr;
  int status = 0;
  if (shared_device != nullptr) {
    device = av_buffer_ref(shared_device);
    if (device == nullptr) status = AVERROR(ENOMEM);
  } else {
    status = calls_.create_d3d11va_device(&device);
  }
  if (status < 0) {
    console_line("  D3D11VA decoder unavailable for stream %d: %s; using software decode", stream_.index,
                 library_error_text(status).c_str());
    return false;
  }
  context_->hw_device_ctx = device;
  context_->get_format = choose_format;
  context_->opaque = this;
  context_->extra_hw_frames = extra_hardware_frames;
  hardware_ = Hardware::untested;
  return true;
}

AVPixelFormat EyeDecoder::choose_format(AVCodecContext* context, const AVPixelFormat* offered) {
  auto* eye = static_cast<EyeDecoder*>(context->opaque);
  const AVPixelFormat chosen = preferred_decoder_format(offered);
  // FFmpeg asks again for every other hardware format that does not work out.
  if (eye->hardware_ == Hardware::refused) return chosen;
  if (chosen == AV_PIX_FMT_D3D11) {
    eye->hardware_ = Hardware::accepted;
  } else {
    eye->hardware_ = Hardware::refused;
    console_line("  D3D11VA pixel format unavailable for stream %d; using software decode",
                 eye->stream_.index);
  }
  return chosen;
}

bool EyeDecoder::pump(std::string& error) {
  if (!receive_frames(error)) return false;
  // With room left in the frame queue the decoder was received empty.
  while (frames_.size() < frame_queue_bound && !end_of_stream_) {
    if (!packets_.empty()) {
      const PacketPtr packet = std::move(packets_.front());
      packets_.pop_front();
      if (!send_packet(packet.get(), error)) return false;
    } else if (finishing_ && !flush_sent_) {
      if (!send_packet(nullptr, error)) return false;
    } else {
      break;
    }
  }
  return true;
}

// Sends one packet, or, with null, the end of the stream, and receives what is ready. The decoder must have
// been received empty, so that it takes the packet.
bool EyeDecoder::send_packet(const AVPacket* packet, std::string& error) {
  const bool first_picture = hardware_ == Hardware::untested;
  int status = avcodec_send_packet(context_.get(), packet);
  if (first_picture && hardware_ == Hardware::refused) {
    // A decoder for the hardware works on one thread. Nothing has come out of it yet.
    const AVCodec& decoder = *context_->codec;
    if (!open_software(decoder, error)) return false;
    status = avcodec_send_packet(context_.get(), packet);
  }
  if (status < 0) {
    if (means_hardware_only(status)) report_hardware_only(stream_);
    return fail_with_library_error(error, "could not submit a packet to the video decoder", status);
  }
  if (packet == nullptr) flush_sent_ = true;
  return receive_frames(error);
}

bool EyeDecoder::receive_frames(std::string& error) {
  while (frames_.size() < frame_queue_bound) {
    const int status = calls_.receive(context_.get(), received_frame_.get());
    if (status == AVERROR_EOF) {
      end_of_stream_ = true;
      return true;
    }
    if (status == AVERROR(EAGAIN)) return true;
    if (status < 0) return fail_with_library_error(error, "video decoding failed", status);
    const bool accepted = accept_frame(*received_frame_, error);
    if (scratch_frame_ != nullptr) av_frame_unref(scratch_frame_.get());
    av_frame_unref(received_frame_.get());
    if (!accepted) return false;
  }
  return true;
}

bool EyeDecoder::accept_frame(const AVFrame& received, std::string& error) {
  if (received.best_effort_timestamp != AV_NOPTS_VALUE && received.best_effort_timestamp < first_used_)
    return true;
  const AVFrame* picture = &received;
  if (received.format == AV_PIX_FMT_D3D11) {
    if (keep_frames_on_gpu_) {
      if (!push_frame(received, "could not retain a D3D11VA frame", error)) return false;
      announce("D3D11VA", "GPU-resident", pixel_format_name(semi_planar_format(bit_depth_)),
               received.color_range);
      return true;
    }
    if (!download_frame(received, error)) return false;
    picture = scratch_frame_.get();
    announce("D3D11VA", "downloaded", pixel_format_name(picture->format), picture->color_range);
  } else if (received.format == AV_PIX_FMT_VIDEOTOOLBOX) {
    if (!map_frame(received, error)) return false;
    picture = scratch_frame_.get();
    announce("VideoToolbox", "mapped", pixel_format_name(picture->format), picture->color_range);
  }
  if (!describe_yuv_format(picture->format)) {
    return fail(error, std::string("decoded pixel format is not supported by the YUV pipeline: ") +
                           pixel_format_name(picture->format));
  }
  return push_frame(*picture, "could not retain a decoded YUV frame", error);
}

bool EyeDecoder::download_frame(const AVFrame& received, std::string& error) {
  if (!make_scratch_frame()) return fail(error, "could not allocate a downloaded D3D11VA frame");
  int status = calls_.download(scratch_frame_.get(), &received);
  if (status < 0) return fail_with_library_error(error, "could not download a D3D11VA frame", status);
  status = av_frame_copy_props(scratch_frame_.get(), &received);
  if (status < 0) return fail_with_library_error(error, "could not copy D3D11VA frame properties", status);
  return crop_scratch_frame("could not crop a D3D11VA frame", error);
}

bool EyeDecoder::map_frame(const AVFrame& received, std::string& error) {
  if (!make_scratch_frame()) return fail(error, "could not allocate a mapped VideoToolbox frame");
  const int status = calls_.map(scratch_frame_.get(), &received);
  if (status < 0) return fail_with_library_error(error, "could not map a VideoToolbox frame", status);
  return crop_scratch_frame("could not crop a VideoToolbox frame", error);
}

// FFmpeg crops the right and the bottom of hardware frames, and leaves the rest to be done in memory.
bool EyeDecoder::crop_scratch_frame(const char* failure, std::string& error) {
  const int status = av_frame_apply_cropping(scratch_frame_.get(), AV_FRAME_CROP_UNALIGNED);
  return status >= 0 || fail_with_library_error(error, failure, status);
}

bool EyeDecoder::make_scratch_frame() {
  if (scratch_frame_ == nullptr) scratch_frame_.reset(av_frame_alloc());
  return scratch_frame_ != nullptr;
}

bool EyeDecoder::push_frame(const AVFrame& frame, const char* failure, std::string& error) {
  FramePtr clone(av_frame_clone(&frame));
  if (clone == nullptr) return fail(error, failure);
  const double seconds = presentation_seconds(frame, stream_.time_base);
  frames_.push_back({std::move(clone), seconds});
  return true;
}

void EyeDecoder::announce(const char* hardware, const char* handling, const char* format, int color_range) {
  if (announced_) return;
  announced_ = true;
  console_line("  decoder: %s hardware (%s, stream %d, %s %s, range %d)", hardware, context_->codec->name,
               stream_.index, handling, format, color_range);
}

DecodedFrame EyeDecoder::take_frame() {
  DecodedFrame frame = std::move(frames_.front());
  frames_.pop_front();
  return frame;
}

}  // namespace veyrin
