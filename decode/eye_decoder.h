// Decodes one eye: packets in, frames with their times out, in hardware where the machine can and else in
// software.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "media/ffmpeg.h"
#include "media/video_types.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

namespace veyrin {

/// A decoded picture and when it is shown.
struct DecodedFrame {
  /// Holds its own references to the picture buffers. Either a system-memory frame in one of the pipeline's
  /// formats (`describe_yuv_format`) or, while frames stay on the GPU, an AV_PIX_FMT_D3D11 frame (data[0]
  /// texture array, data[1] slice).
  FramePtr frame;
  double time_seconds = 0.0;  ///< presentation time on the stream's clock; 0 when the frame carries none
};

/// Results are FFmpeg's: negative is an error code.
struct DecoderCalls {
  /// Whether the decoder gives D3D11 frames when its context has a device.
  std::function<bool(const AVCodec& decoder)> offers_d3d11va;
  /// Makes a D3D11VA device on the default adapter; the caller owns it.
  std::function<int(AVBufferRef** device)> create_d3d11va_device;
  /// Opens a context for the decoder.
  std::function<int(AVCodecContext* context, const AVCodec* decoder)> open;
  /// Takes the next picture out of the decoder.
  std::function<int(AVCodecContext* context, AVFrame* frame)> receive;
  /// Copies a GPU frame's picture into system memory.
  std::function<int(AVFrame* target, const AVFrame* source)> download;
  /// Makes a GPU frame's picture readable in place.
  std::function<int(AVFrame* target, const AVFrame* source)> map;
};

/// FFmpeg's own functions.
const DecoderCalls& ffmpeg_decoder_calls();

/// Chooses from the formats that a hardware decoder offers (AV_PIX_FMT_NONE at the end): D3D11 frames if they
/// are among them, else the first.
AVPixelFormat preferred_decoder_format(const AVPixelFormat* offered);

/// Whether the hardware is tried first or not at all.
enum class DecoderPreference { hardware, software };

/// Packets wait in one queue, frames in another that never holds more than `frame_queue_bound`. The packet
/// queue is what absorbs bad interleaving, so that decoded pictures do not pile up. All calls come from one
/// thread.
///
/// Use: for each demuxed packet `queue_packet` and `pump`; at the end of the input `finish`. Whenever frames
/// were taken, `pump` again, until `ended`.
class EyeDecoder {
 public:
  static constexpr std::size_t frame_queue_bound = 4;

  /// Opens a decoder for the stream, which is borrowed; null with one message in `error` when there is none.
  /// `shared_device` (may be null) is the hardware device to decode on; the decoder takes a reference of its
  /// own. Falling back to software is not an error but a notice on the console. `calls` must outlive the
  /// decoder.
  [[nodiscard]] static std::unique_ptr<EyeDecoder> create(AVStream& stream, DecoderPreference preference,
                                                          AVBufferRef* shared_device, std::string& error,
                                                          const DecoderCalls& calls = ffmpeg_decoder_calls());
  // The codec context points back to this object.
  EyeDecoder(const EyeDecoder&) = delete;
  EyeDecoder& operator=(const EyeDecoder&) = delete;

  /// Leaves D3D11 frames where they are instead of downloading them. To be called before the first packet.
  void keep_frames_on_gpu() { keep_frames_on_gpu_ = true; }

  /// Drops the frames that are shown before this time, in ticks of the stream, instead of handing them out.
  /// To be called before the first packet.
  void use_frames_from(std::int64_t timestamp) { first_used_ = timestamp; }

  /// Puts a packet behind the waiting ones.
  void queue_packet(PacketPtr packet) { packets_.push_back(std::move(packet)); }

  /// Says that no packet will follow: the next `pump` calls drain the decoder.
  void finish() { finishing_ = true; }

  /// Decodes waiting packets while the frame queue has room; false with one message in `error`.
  [[nodiscard]] bool pump(std::string& error);

  [[nodiscard]] bool has_frame() const { return !frames_.empty(); }
  [[nodiscard]] std::size_t queued_frames() const { return frames_.size(); }
  [[nodiscard]] std::size_t queued_packets() const { return packets_.size(); }
  /// Hands the oldest frame over; only while `has_frame`.
  [[nodiscard]] DecodedFrame take_frame();

  /// True when every frame of the stream has been taken.
  [[nodiscard]] bool ended() const { return end_of_stream_ && frames_.empty(); }

  [[nodiscard]] AVStream& stream() const { return stream_; }
  /// The size of the decoder's frames.
  [[nodiscard]] Size size() const { return {context_->width, context_->height}; }
  [[nodiscard]] BitDepth bit_depth() const { return bit_depth_; }
  /// The device that the decoder was set up with, owned by the decoder; null for a software decoder.
  [[nodiscard]] AVBufferRef* hardware_device() const { return context_->hw_device_ctx; }

 private:
  /// How far the hardware got. A decoder with a device learns whether the device can decode the stream when
  /// FFmpeg asks for its pixel format, usually at the first picture.
  enum class Hardware {
    unused,    ///< a software decoder
    untested,  ///< the format was not asked for yet
    accepted,  ///< D3D11 frames were agreed on
    refused,   ///< they were not; the notice has been printed
  };

  EyeDecoder(AVStream& stream, const DecoderCalls& calls);
  static AVPixelFormat choose_format(AVCodecContext* context, const AVPixelFormat* offered);
  [[nodiscard]] bool open(DecoderPreference preference, AVBufferRef* shared_device, std::string& error);
  [[nodiscard]] bool open_software(const AVCodec& decoder, std::string& error);
  [[nodiscard]] bool set_up_hardware(const AVCodec& decoder, AVBufferRef* shared_device);
  [[nodiscard]] bool send_packet(const AVPacket* packet, std::string& error);
  [[nodiscard]] bool receive_frames(std::string& error);
  [[nodiscard]] bool accept_frame(const AVFrame& received, std::string& error);
  [[nodiscard]] bool download_frame(const AVFrame& received, std::string& error);
  [[nodiscard]] bool map_frame(const AVFrame& received, std::string& error);
  [[nodiscard]] bool crop_scratch_frame(const char* failure, std::string& error);
  [[nodiscard]] bool make_scratch_frame();
  [[nodiscard]] bool push_frame(const AVFrame& frame, const char* failure, std::string& error);
  void announce(const char* hardware, const char* handling, const char* format, int color_range);

  const DecoderCalls& calls_;
  AVStream& stream_;
  BitDepth bit_depth_;
  CodecContextPtr context_;
  FramePtr received_frame_;
  FramePtr scratch_frame_;  // target of downloads and mappings, made on first need
  Hardware hardware_ = Hardware::unused;
  bool keep_frames_on_gpu_ = false;
  std::int64_t first_used_ = std::numeric_limits<std::int64_t>::min();
  bool announced_ = false;  // which hardware the frames come from

  std::deque<PacketPtr> packets_;
  std::deque<DecodedFrame> frames_;
  bool finishing_ = false;
  bool flush_sent_ = false;
  bool end_of_stream_ = false;
};

}  // namespace veyrin
