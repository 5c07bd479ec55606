// The pass that adds the stereo description to a finished movie of the packaged encoder.
#pragma once

#include <filesystem>
#include <string>

namespace veyrin {

/// The file that the pass writes before it takes the movie's place: the movie's name with its extension
/// replaced by ".st3d.tmp.mp4", in the same folder.
std::filesystem::path st3d_temporary_path(const std::filesystem::path& movie);

/// Copies the movie's streams packet by packet into a new file whose video tracks carry the stereo
/// description and an st3d box, and puts that file in the movie's place. On failure, one message in `error`,
/// the movie is as it was and the temporary file is gone; killed halfway, the pass leaves either the old or
/// the complete new movie, and perhaps the temporary file.
[[nodiscard]] bool add_st3d_to_movie(const std::filesystem::path& movie, std::string& error);

}  // namespace veyrin
