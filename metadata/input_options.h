// Demuxer options for opening a recording.
#pragma once

#include <filesystem>
#include <string>

#include "common/ffmpeg_owners.h"

namespace veyrin {

/// Fills the options for `avformat_open_input`: a recording that is still being written (".mp4.partial") has
/// edit lists that do not match its samples yet, so they are ignored; others open without options. False with
/// FFmpeg's description of the failure in `error`.
[[nodiscard]] bool open_input_options(const std::filesystem::path& input, Dictionary& options,
                                      std::string& error);

}  // namespace veyrin
