// The QuickTime file of a two-view movie: its tracks, its samples, its sound, and the check of the finished
// one.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "media/ffmpeg.h"
#include "media/movie_file.h"
#include "spatial/two_view_encoder.h"

namespace veyrin {

/// A file whose header is written. Destroying an unfinished one leaves it as `MovieFile` does.
class SpatialMovieFile {
 public:
  /// Creates the file that `config` names, with a track for the two-view stream that `video` describes, its
  /// times in `time_base`, and one for the sound when `config` has some. Null with one message in `error`.
  [[nodiscard]] static std::unique_ptr<SpatialMovieFile> create(const SpatialWriterConfig& config,
                                                                const AVCodecParameters& video,
                                                                AVRational time_base, std::string& error);

  /// Writes one sample with both views, which is consumed; false with one message in `error`.
  [[nodiscard]] bool write_sample(AVPacket& sample, std::string& error);

  /// True when the movie has an audio track.
  [[nodiscard]] bool has_audio() const { return audio_.has_value(); }

  /// Copies one packet of the source's sound, its times in the source's time base; false with one message in
  /// `error`. Does nothing without an audio track.
  [[nodiscard]] bool write_audio_packet(const AVPacket& packet, std::string& error);

  /// Completes the file and reads its description of both views again; false with one message in `error`
  /// when it could not be written, or is not what was written.
  [[nodiscard]] bool finish(std::string& error);

 private:
  SpatialMovieFile() = default;
  [[nodiscard]] bool create_tracks(const SpatialWriterConfig& config, const AVCodecParameters& video,
                                   AVRational time_base, std::string& error);
  [[nodiscard]] bool write_header(std::string& error);

  std::filesystem::path path_;
  std::unique_ptr<MovieFile> file_;
  int video_ = -1;
  std::optional<int> audio_;
};

}  // namespace veyrin
