// A recording's sound in a movie: its track, and which packets are copied and when they are heard.
#pragma once

#include <optional>
#include <string>

#include "convert/frame_timing.h"
#include "media/ffmpeg.h"
#include "media/movie_file.h"
#include "media/video_types.h"

namespace veyrin {

/// Whether the container takes the sound; false with one message that says what to do instead.
[[nodiscard]] bool check_recorded_sound(const AVOutputFormat& container, const AVStream& sound,
                                        std::string& error);

/// Adds a track for the sound with all that the recording says of it, and prints its report line. The track's
/// number, or nothing with one message in `error`.
[[nodiscard]] std::optional<int> add_recorded_sound(MovieFile& movie, const AVStream& sound,
                                                    std::string& error);

/// Decides about a packet whose times count in `time_base`. Those of one to copy are moved, so that they
/// count from the range's start.
AudioDecision trim_sound_packet(AVPacket& packet, AVRational time_base, const TimeRange& range);

}  // namespace veyrin
