// What the packaged encoder's program can write, told before it starts: it would find out only at the end.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "media/ffmpeg.h"

namespace veyrin {

/// Whether the program writes HEVC into a file of this name, whose extension it takes the container from;
/// false with one message in `error`.
[[nodiscard]] bool check_packaged_name(const std::filesystem::path& output, std::string& error);

/// Whether such a file can carry the description of a stereo picture; only MP4 and QuickTime can.
bool packaged_movie_can_be_stereo(const std::filesystem::path& output);

/// Whether the program has written a movie of so many pictures: it can fail at the end and report success. In
/// other containers than MP4 and QuickTime pictures are not counted.
bool is_whole_packaged_movie(const std::filesystem::path& output, std::int64_t pictures);

/// Whether sound of this codec can be copied into the file, whose name has passed `check_packaged_name`;
/// false with one message that says what to do instead. With `stereo_pass` the finished file becomes an MP4.
[[nodiscard]] bool check_packaged_sound(const std::filesystem::path& output, const AVStream& sound,
                                        bool stereo_pass, std::string& error);

}  // namespace veyrin
