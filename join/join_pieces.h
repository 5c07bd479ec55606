// Pieces of a movie become the movie.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "media/video_types.h"

namespace veyrin {

/// What is joined into which movie.
struct JoinJob {
  std::filesystem::path recording;              ///< that the pieces were made of
  std::vector<std::filesystem::path> pieces{};  ///< in order, at least one
  std::filesystem::path output;
  TimeRange range;  ///< of the whole movie
  bool overwrite = false;
};

/// Copies the pieces' pictures one behind the other and the recording's sound into the output, which gets its
/// name when it is complete, and reports it. False with one message in `error` on the first failure; what had
/// the output's name is then as it was.
[[nodiscard]] bool join_pieces(const JoinJob& job, std::string& error);

}  // namespace veyrin
