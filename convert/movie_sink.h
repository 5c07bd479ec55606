// Where packed canvases go: the encoder and muxer of this process, or the packaged encoder.
#pragma once

#include <cstdint>
#include <string>

#include "common/ffmpeg_owners.h"

namespace veyrin {

/// One movie being written. Destroying an unfinished one leaves the partly written file where it is.
class MovieSink {
 public:
  virtual ~MovieSink() = default;

  /// The frame to write the next canvas into; borrowed, valid until the next call. Null with a message on
  /// failure.
  [[nodiscard]] virtual AVFrame* next_canvas(std::string& error) = 0;

  /// Encodes the canvas as output frame `index`, counted from 0. The same canvas may be written again for the
  /// next index; indices rise by one.
  [[nodiscard]] virtual bool write_canvas(std::int64_t index, std::string& error) = 0;

  /// False when the movie has no audio track of ours to fill.
  [[nodiscard]] virtual bool accepts_audio() const = 0;

  /// Copies one packet of the source's audio stream, in the source's time base, moved back by
  /// `offset_microseconds`. The packet is consumed.
  [[nodiscard]] virtual bool write_audio(AVPacket& packet, std::int64_t offset_microseconds,
                                         std::string& error) = 0;

  /// Writes out everything pending and completes the file.
  [[nodiscard]] virtual bool finish(std::string& error) = 0;
};

}  // namespace veyrin
