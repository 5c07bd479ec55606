// Writes MP4 and QuickTime files with full control of their layout, which no muxer library offers.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/recordings/media_track.h"

namespace veyrin::recordings {

struct MovieLayout {
  bool index_first = false;  ///< moov before mdat
  bool track_after_track =
      false;  ///< not interleaved: all samples of the last track first, then those of the one before, ...
  std::uint64_t hole_bytes = 0;  ///< unwritten bytes in the middle of mdat; sparse on most file systems
  bool quicktime = false;        ///< brand "qt  " instead of an ISO one
};

/// False with one message in `error` when the file cannot be written.
[[nodiscard]] bool write_movie(const std::filesystem::path& path, const std::vector<MediaTrack>& tracks,
                               const MovieLayout& layout, std::string& error);

}  // namespace veyrin::recordings
