// Decodes one eye: packets in, frames with their times out, in hardware where the machine can and else in
// software.
#pragma once

#include <cstddef>
#include <deque>
#include <string>

#include "decode/decoded_frame.h"
#include "decode/decoder_calls.h"
#include "media/ffmpeg.h"

namespace veyrin {

/// Packets wait in one queue, frames in another that never holds more than `frame_queue_bound`. The packet
/// queue is what absorbs bad interleaving, so that decoded pictures do not pile up. All calls come from one
/// thread.
///
/// Use: `open`, then for each demuxed packet `queue_packet` and `pump`; at the end of the input `finish`.
/// Whenever frames were taken, `pump` again, until `ended`.
class EyeDecoder {
 public:
  static constexpr std::size_t frame_queue_bound = 4;

  /// `calls` must outlive the decoder.
  explicit EyeDecoder(const DecoderCalls& calls = ffmpeg_decoder_calls()) : calls_(calls) {}
  // The codec context points back to this object.
  EyeDecoder(const EyeDecoder&) = delete;
  EyeDecoder& operator=(const EyeDecoder&) = delete;

  /// Names the stream without decoding it. Borrows the stream.
  void set_stream(AVStream& stream);

  /// Opens a decoder for the stream, which is borrowed. `shared_device` (may be null) is the hardware device
  /// to decode on; the decoder takes a reference of its own. Falling back to software is not an error but a
  /// notice on the console.
  [[nodiscard]] bool open(AVStream& stream, bool software_only, AVBufferRef* shared_device,
                          std::string& error);

  /// Puts a packet behind the waiting ones.
  void queue_packet(PacketPtr packet) { packets_.push_back(std::move(packet)); }

  /// Says that no packet will follow: the next `pump` calls drain the decoder.
  void finish() { finishing_ = true; }

  /// Decodes waiting packets while the frame queue has room.
  [[nodiscard]] bool pump(std::string& error);

  /// Sends one packet, or, with null, the end of the stream, and receives what is ready. Only for a decoder
  /// that was received empty (the frame queue has room); others go through `queue_packet` and `pump`.
  [[nodiscard]] bool send_packet(const AVPacket* packet, std::string& error);

  /// Moves ready frames into the frame queue, up to its bound.
  [[nodiscard]] bool receive_frames(std::string& error);

  [[nodiscard]] bool has_frame() const { return !frames_.empty(); }
  [[nodiscard]] std::size_t queued_frames() const { return frames_.size(); }
  [[nodiscard]] std::size_t queued_packets() const { return packets_.size(); }
  /// The oldest frame, for a look; only while `has_frame`.
  [[nodiscard]] const DecodedFrame& next_frame() const { return frames_.front(); }
  /// Hands the oldest frame over; only while `has_frame`.
  DecodedFrame take_frame();

  /// True when every frame of the stream has been taken.
  [[nodiscard]] bool ended() const { return end_of_stream_ && frames_.empty(); }

  /// Only after `open` or `set_stream`.
  [[nodiscard]] AVStream& stream() const { return *stream_; }
  /// The open decoder; null before `open`.
  [[nodiscard]] const AVCodecContext* context() const { return context_.get(); }
  [[nodiscard]] bool ten_bit() const { return ten_bit_; }
  /// True while the decoder is one that was set up with a D3D11VA device.
  [[nodiscard]] bool hardware_active() const { return hardware_active_; }
  /// Leaves D3D11 frames where they are instead of downloading them.
  void keep_frames_on_gpu(bool keep) { keep_frames_on_gpu_ = keep; }

 private:
  static AVPixelFormat choose_format(AVCodecContext* context, const AVPixelFormat* offered);
  [[nodiscard]] bool open_software(const AVCodec& decoder, std::string& error);
  [[nodiscard]] bool set_up_hardware(const AVCodec& decoder, AVBufferRef* shared_device);
  [[nodiscard]] bool accept_frame(const AVFrame& received, std::string& error);
  [[nodiscard]] bool download_frame(const AVFrame& received, std::string& error);
  [[nodiscard]] bool map_frame(const AVFrame& received, std::string& error);
  [[nodiscard]] bool make_scratch_frame();
  [[nodiscard]] bool push_frame(const AVFrame& frame, const char* failure, std::string& error);
  void announce(const char* hardware, const char* handling, const char* format, int color_range);

  const DecoderCalls& calls_;
  AVStream* stream_ = nullptr;
  bool ten_bit_ = false;
  CodecContextPtr context_;
  FramePtr received_frame_;
  FramePtr scratch_frame_;  // target of downloads and mappings, made on first need
  bool hardware_active_ = false;
  bool keep_frames_on_gpu_ = false;
  bool announced_ = false;
  bool format_asked_ = false;        // by a decoder with hardware, which does so at its first picture
  bool software_announced_ = false;  // that a hardware decoder works in software after all

  std::deque<PacketPtr> packets_;
  std::deque<DecodedFrame> frames_;
  bool finishing_ = false;
  bool flush_sent_ = false;
  bool end_of_stream_ = false;
};

}  // namespace veyrin
