// Where rectified pictures go: an encoder and muxer of this process, or the packaged encoder.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "media/ffmpeg.h"

namespace veyrin {

/// One movie being written. Destroying an unfinished one leaves the partly written file where it is.
class MovieSink {
 public:
  virtual ~MovieSink() = default;

  /// The frames to write the next pictures into: one packed canvas, or one canvas per eye with the left one
  /// first. Borrowed, valid until the next call. None with a message on failure.
  [[nodiscard]] virtual std::span<AVFrame* const> next_canvases(std::string& error) = 0;

  /// Encodes the canvases as output frame `index`, counted from 0. The same canvases may be written again for
  /// the next index; indices rise by one.
  [[nodiscard]] virtual bool write_canvases(std::int64_t index, std::string& error) = 0;

  /// False when the movie has no audio track of ours to fill.
  [[nodiscard]] virtual bool accepts_audio() const = 0;

  /// Copies one packet of the source's audio stream, in the source's time base but counted from the start of
  /// the movie. The packet may be consumed.
  [[nodiscard]] virtual bool write_audio(AVPacket& packet, std::string& error) = 0;

  /// Writes out everything pending and completes the file.
  [[nodiscard]] virtual bool finish(std::string& error) = 0;
};

}  // namespace veyrin
