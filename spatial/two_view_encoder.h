// Encoders that code both eyes as two views of one stream, and the table of those that the program knows.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "media/ffmpeg.h"
#include "spatial/spatial_writer_config.h"

namespace veyrin {

/// One open encoder, driven by one thread.
class TwoViewEncoder {
 public:
  /// Takes one coded sample: both views of one moment, the left one first, times in `time_base`. The packet
  /// may be consumed. False with one message in `error` ends the encoding.
  using SampleSink = std::function<bool(AVPacket& sample, std::string& error)>;

  virtual ~TwoViewEncoder() = default;

  /// The stream with both views, for the track of a movie.
  [[nodiscard]] virtual const AVCodecParameters& parameters() const = 0;
  /// One output frame.
  [[nodiscard]] virtual AVRational time_base() const = 0;

  /// Gives an empty frame what the encoder wants of the pictures of a view (0 left, 1 right): format, size,
  /// colour tags, buffers, side data. False with one message in `error` on failure.
  [[nodiscard]] virtual bool prepare_frame(int view, AVFrame& frame, std::string& error) const = 0;

  /// Encodes a pair of prepared frames of equal pts and hands on every sample that is ready.
  [[nodiscard]] virtual bool encode(const AVFrame& left, const AVFrame& right, const SampleSink& sink,
                                    std::string& error) = 0;

  /// Hands on everything that is still pending; nothing is encoded afterwards.
  [[nodiscard]] virtual bool drain(const SampleSink& sink, std::string& error) = 0;
};

/// One kind of two-view encoder.
struct TwoViewEncoderKind {
  /// What its movies count as in the answer of check-support.
  Acceleration acceleration;
  /// Whether it serves a user who does (true) or does not want software encoding.
  bool (*serves)(bool software);
  /// Asks the machine, without opening the encoder, whether it could encode such eyes; false with one
  /// message.
  bool (*check_machine)(Size eye, BitDepth depth, std::string& error);
  /// Opens the encoder; null with one message.
  std::unique_ptr<TwoViewEncoder> (*create)(const SpatialWriterConfig& config, std::string& error);
};

/// Every kind, the preferred one first. Another encoder is one more row.
std::span<const TwoViewEncoderKind> two_view_encoders();

/// The first kind that serves the user's wish; there always is one.
const TwoViewEncoderKind& two_view_encoder_for(bool software);

}  // namespace veyrin
