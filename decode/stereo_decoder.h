// The decoders of both eyes.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "decode/eye_decoder.h"

namespace veyrin {

/// Distributes packets to the eyes by their stream. A single camera may serve both eyes: each of its packets
/// then goes to both decoders.
class StereoDecoder {
 public:
  /// Opens both decoders, the left one first; the right one shares its hardware device. Null with one message
  /// in `error` on failure. Both indices must be streams of the input, which is borrowed; `calls` must
  /// outlive the decoder.
  [[nodiscard]] static std::unique_ptr<StereoDecoder> create(
      AVFormatContext& input, int left_index, int right_index, DecoderPreference preference,
      std::string& error, const DecoderCalls& calls = ffmpeg_decoder_calls());

  /// Leaves the eyes' D3D11 frames where they are instead of downloading them. To be called before the first
  /// packet.
  void keep_frames_on_gpu();

  /// Gives each eye of the packet's stream a reference to it and decodes as far as the frame queues have
  /// room. A packet of another stream changes nothing.
  [[nodiscard]] bool queue_packet(const AVPacket& packet, std::string& error);

  /// Marks the end of the input and decodes as far as the frame queues have room.
  [[nodiscard]] bool finish(std::string& error);

  /// Decodes as far as the frame queues have room; to be called again whenever frames were taken.
  [[nodiscard]] bool pump(std::string& error);

  /// True while both eyes have a frame waiting.
  [[nodiscard]] bool has_pair() const { return left_->has_frame() && right_->has_frame(); }

  /// True when one eye has ended, so that no pair can follow.
  [[nodiscard]] bool ended() const { return left_->ended() || right_->ended(); }

  EyeDecoder& left() { return *left_; }
  EyeDecoder& right() { return *right_; }
  [[nodiscard]] const EyeDecoder& left() const { return *left_; }
  [[nodiscard]] const EyeDecoder& right() const { return *right_; }

 private:
  StereoDecoder(std::unique_ptr<EyeDecoder> left, std::unique_ptr<EyeDecoder> right)
      : left_(std::move(left)), right_(std::move(right)) {}

  std::unique_ptr<EyeDecoder> left_;  // neither is null
  std::unique_ptr<EyeDecoder> right_;
};

}  // namespace veyrin
