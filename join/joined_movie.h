// The movie that pieces are joined into: its file, with the tracks that the converter would have given it.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "join/movie_piece.h"
#include "media/ffmpeg.h"

namespace veyrin {

/// A movie whose header is written. Destroying an unfinished one leaves its file where it is.
class JoinedMovie {
 public:
  /// Creates `file`, which must not be there, for pictures like those of the first piece and for the
  /// recording's sound, null for none. Null with one message in `error` on failure; there is no file then.
  [[nodiscard]] static std::unique_ptr<JoinedMovie> create(const MoviePiece& first, const AVStream* sound,
                                                           const std::filesystem::path& file,
                                                           std::string& error);
  virtual ~JoinedMovie() = default;

  /// Writes a coded picture, its times in the pieces' time base; the packet is consumed.
  [[nodiscard]] virtual bool write_picture(AVPacket& packet, std::string& error) = 0;

  /// Writes a packet of sound, its times in the recording's time base; the packet may be consumed.
  [[nodiscard]] virtual bool write_sound(AVPacket& packet, std::string& error) = 0;

  /// Completes the file.
  [[nodiscard]] virtual bool finish(std::string& error) = 0;
};

}  // namespace veyrin
