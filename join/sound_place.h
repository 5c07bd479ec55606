// Where in the recording the sound of a movie's pieces was taken from.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "join/movie_piece.h"

namespace veyrin {

/// A packet of sound: what is in it, and when it is heard.
struct HeardPacket {
  std::string data;
  double seconds = 0.0;
};

/// How many packets of a piece are the recording's, heard `shift` seconds earlier than there. The recording's
/// are in order of time.
std::size_t count_shifted(const std::vector<HeardPacket>& piece, const std::vector<HeardPacket>& recording,
                          double shift);

/// Looks up the beginning of each piece's sound in the recording. The result is `other_origin` when the
/// pieces count times from there, else 0; both in seconds of the recording's clock. `start` is where the
/// movie begins, counted from its origin. Nothing with one message in `error` when a piece's sound is not at
/// its place, as when pieces were exchanged, or when a file cannot be read.
[[nodiscard]] std::optional<double> find_sound_origin(const std::vector<MoviePiece>& pieces,
                                                      const std::filesystem::path& recording, double start,
                                                      double other_origin, std::string& error);

}  // namespace veyrin
