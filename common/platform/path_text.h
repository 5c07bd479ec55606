// Paths and their UTF-8 text: FFmpeg, the console and the options carry UTF-8 on every platform.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace veyrin::platform {

/// The path that a UTF-8 text names.
std::filesystem::path path_from_utf8(std::string_view text);

/// The path's text in UTF-8, with the platform's separators.
std::string path_to_utf8(const std::filesystem::path& path);

}  // namespace veyrin::platform
