// The trak box of one track.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/recordings/box_builder.h"
#include "tests/recordings/media_track.h"

namespace veyrin::recordings {

/// Time scale of the movie header and of edit lists.
inline constexpr std::uint32_t movie_time_scale = 90000;

/// Length of a track's presentation, its delay included, in the movie's time scale, rounded up.
std::uint64_t presented_duration(const MediaTrack& track);

/// Appends the trak box; `offsets` holds the file position of each sample.
void append_track(BoxBuilder& boxes, const MediaTrack& track, std::uint32_t track_id,
                  const std::vector<std::uint64_t>& offsets);

}  // namespace veyrin::recordings
