// The decoders of both eyes.
#pragma once

#include <string>

#include "decode/eye_decoder.h"

namespace veyrin {

/// Distributes packets to the eyes by their stream. A single camera may serve both eyes: each of its packets
/// then goes to both decoders.
class StereoDecoder {
 public:
  /// `calls` must outlive the decoder.
  explicit StereoDecoder(const DecoderCalls& calls = ffmpeg_decoder_calls()) : left_(calls), right_(calls) {}

  /// Names the eyes' streams without decoding them. Both indices must be streams of the input, which is
  /// borrowed.
  void set_streams(AVFormatContext& input, int left_index, int right_index);

  /// Opens both decoders, the left one first; the right one shares its hardware device.
  [[nodiscard]] bool open(AVFormatContext& input, int left_index, int right_index, bool software_only,
                          std::string& error);

  /// Leaves the eyes' D3D11 frames where they are instead of downloading them.
  void keep_frames_on_gpu();

  /// True when packets of this stream belong to an eye.
  [[nodiscard]] bool uses_stream(int stream_index) const;

  /// Gives each eye of the packet's stream a reference to it and decodes as far as the frame queues have
  /// room. A packet of another stream changes nothing.
  [[nodiscard]] bool queue_packet(const AVPacket& packet, std::string& error);

  /// Says that no packet will follow and decodes as far as the frame queues have room.
  [[nodiscard]] bool finish(std::string& error);

  /// Decodes as far as the frame queues have room; to be called again whenever frames were taken.
  [[nodiscard]] bool pump(std::string& error);

  /// True while both eyes have a frame waiting.
  [[nodiscard]] bool has_pair() const { return left_.has_frame() && right_.has_frame(); }

  /// True when one eye has ended, so that no pair can follow.
  [[nodiscard]] bool ended() const { return left_.ended() || right_.ended(); }

  EyeDecoder& left() { return left_; }
  EyeDecoder& right() { return right_; }
  [[nodiscard]] const EyeDecoder& left() const { return left_; }
  [[nodiscard]] const EyeDecoder& right() const { return right_; }

 private:
  EyeDecoder left_;
  EyeDecoder right_;
};

}  // namespace veyrin
