// A finished piece of a movie: what it is, and whether it fits to the others.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "media/ffmpeg.h"
#include "media/video_types.h"

namespace veyrin {

/// One piece, and what was found out about it.
struct MoviePiece {
  std::filesystem::path path;
  InputContextPtr context{};     ///< null once it is closed
  AVStream* video = nullptr;     ///< of the context
  AVRational time_base{1, 1};    ///< of the video track
  std::int64_t frames = 0;       ///< at least 1
  std::int64_t frame_ticks = 0;  ///< how long each one lasts, in the track's time base
  std::int64_t first_dts = 0;    ///< ticks; 0 or, where pictures are reordered, below

  /// Frames per second, exactly.
  [[nodiscard]] FrameRate rate() const;
  /// True for QuickTime, false for MP4. As all that follows, for open pieces only.
  [[nodiscard]] bool is_quicktime() const;
  /// True for a movie of one picture per eye.
  [[nodiscard]] bool is_spatial() const;
  /// Gives back the file and the memory. A long recording has many pieces.
  void close();
};

/// Opens a piece and makes sure that it is a whole movie as the converter writes it: of the MP4 family, with
/// one video track whose index names samples that the file holds and that follow each other evenly for as
/// long as the track says. Nothing with one message in `error` that names it.
[[nodiscard]] std::optional<MoviePiece> open_piece(const std::filesystem::path& path, std::string& error);

/// Opens a closed piece again, whose pictures only will be read; false with one message in `error`.
[[nodiscard]] bool open_pictures(MoviePiece& piece, std::string& error);

/// Makes sure that both were made in the same way, so that one track can hold the pictures of both; false
/// with one message in `error` that names the piece and what differs.
[[nodiscard]] bool check_same_kind(const MoviePiece& first, const MoviePiece& piece, std::string& error);

}  // namespace veyrin
