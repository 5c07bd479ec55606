// Whether a finished movie is the one that was written: muxers leave out what they have no memory for, and
// say nothing.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

#include "media/ffmpeg.h"

namespace veyrin {

/// What a track was given.
struct TrackContent {
  const AVCodecParameters* parameters;  ///< borrowed
  std::int64_t packets = 0;
};

/// Compares the index of a file of the MP4 family with what its tracks were given: codec, presence of codec
/// configuration and stereo description, number of samples. 0 when it is as it should be, else FFmpeg's error
/// code. Files that are not regular, such as devices, count as right.
[[nodiscard]] int check_movie_index(const std::filesystem::path& file, std::span<const TrackContent> tracks);

/// The number of samples of the first video track of a finished file of the MP4 family; nothing for a file
/// that is none or cannot be read.
std::optional<std::int64_t> count_pictures(const std::filesystem::path& file);

}  // namespace veyrin
