// Tracks of small movies for the tests of the metadata reader.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/recordings/media_track.h"

namespace veyrin::test {

using Bytes = std::vector<std::uint8_t>;

/// H.264 track of black 64x64 pictures, all key frames, ten a second; the colour tags stand in the container.
recordings::MediaTrack video_track(int samples = 3, std::optional<recordings::ColourTags> colour = {});

/// As above, each picture padded to a megabyte by a filler unit.
recordings::MediaTrack megabyte_video_track(int samples);

/// As `video_track`; the transfer curve HLG stands in the coded stream alone.
recordings::MediaTrack coded_hlg_video_track();

/// AV1 track of black 64x64 pictures. The FFmpeg that this program is built with decodes AV1 in hardware
/// only.
recordings::MediaTrack av1_video_track(int samples = 3);

/// H.264 track without decoder configuration, whose sample holds none either.
recordings::MediaTrack unreadable_video_track();

/// Data track of ten samples a second.
recordings::MediaTrack data_track(std::vector<Bytes> samples, std::string_view handler_name,
                                  std::string_view codec_tag = "gpmd");

/// The bytes of a text.
Bytes bytes_of(std::string_view text);

}  // namespace veyrin::test
