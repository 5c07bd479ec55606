// The QuickTime file of a spatial movie: one track with both views, and the recording's sound.
#pragma once

#include <memory>
#include <string>

#include "media/ffmpeg.h"
#include "spatial/spatial_writer_config.h"

namespace veyrin {

/// A file whose header is written. Destroying an unfinished one closes the file and leaves it as it is.
class SpatialContainer {
 public:
  /// Creates the tracks, opens the file and writes the header; null with one message in `error` on failure.
  /// `encoder` is open.
  static std::unique_ptr<SpatialContainer> create(const SpatialWriterConfig& config,
                                                  const AVCodecContext& encoder, std::string& error);

  [[nodiscard]] bool has_audio() const { return audio_ != nullptr; }

  /// Writes one sample with both views, its times in the encoder's time base. The packet is consumed.
  [[nodiscard]] bool write_video(AVPacket& sample, std::string& error);

  /// Writes a copy of the packet, its times in the source's time base. Only with an audio track.
  [[nodiscard]] bool write_audio(const AVPacket& packet, std::string& error);

  /// Completes the file, with the index in front of the data.
  [[nodiscard]] bool finish(std::string& error);

 private:
  SpatialContainer() = default;
  bool create_video_track(const SpatialWriterConfig& config, const AVCodecContext& encoder,
                          std::string& error);
  bool create_audio_track(const SpatialWriterConfig& config, std::string& error);
  bool open_file(const std::string& url, std::string& error);
  bool write_header(std::string& error);

  OutputContextPtr muxer_;
  AVStream* video_ = nullptr;
  AVStream* audio_ = nullptr;
  AVRational encoder_time_base_{0, 1};
  AVRational source_time_base_{0, 1};
};

}  // namespace veyrin
