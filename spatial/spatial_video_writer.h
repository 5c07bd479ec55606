// Writes pairs of rectified eyes as one two-view movie.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "media/ffmpeg.h"
#include "spatial/spatial_encoder_calls.h"
#include "spatial/spatial_writer_config.h"

namespace veyrin {

/// A movie whose header is written. To be used from one thread; after a failure it can only be destroyed,
/// which leaves an unfinished file.
class SpatialVideoWriter {
 public:
  virtual ~SpatialVideoWriter() = default;

  /// Encodes one pair. Both eyes have the writer's size, best in the encoder's own format
  /// (`spatial_pixel_format`). `pts` counts output frames.
  [[nodiscard]] virtual bool write_eye_pair(const AVFrame& left, const AVFrame& right, std::int64_t pts,
                                            std::string& error) = 0;

  /// True when the movie has an audio track.
  [[nodiscard]] virtual bool has_audio() const = 0;

  /// Copies one packet of the source's sound, its times in the source's time base. Does nothing without an
  /// audio track.
  [[nodiscard]] virtual bool write_audio_packet(const AVPacket& packet, std::string& error) = 0;

  /// Writes out everything pending and completes the file. Once that has succeeded it may be called again
  /// and does nothing.
  [[nodiscard]] virtual bool finish(std::string& error) = 0;
};

/// Opens the encoder and the file; null with one message in `error` on failure. `calls` must outlive the
/// writer.
std::unique_ptr<SpatialVideoWriter> create_spatial_video_writer(
    const SpatialWriterConfig& config, std::string& error,
    const SpatialEncoderCalls& calls = ffmpeg_spatial_encoder_calls());

}  // namespace veyrin
