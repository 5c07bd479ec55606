// Names under which FFmpeg opens files.
#pragma once

#include <filesystem>
#include <string>

namespace veyrin {

/// The URL of a file for FFmpeg's open calls. A plain path would be taken for a protocol when a colon follows
/// its first word ("a:b.mp4").
std::string media_url(const std::filesystem::path& path);

}  // namespace veyrin
