// Files: the text of their paths, and operations that must hold even when the program or the machine stops in
// the middle. FFmpeg, the console and the options carry UTF-8 on every platform.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace veyrin::platform {

/// The path that a UTF-8 text names.
std::filesystem::path path_from_utf8(std::string_view text);

/// The path's text in UTF-8, with the platform's separators.
std::string path_to_utf8(const std::filesystem::path& path);

/// True when anything has this name: a file, a folder, a link with or without a target. An error in `reason`
/// means that the system cannot say; false then.
[[nodiscard]] bool name_is_taken(const std::filesystem::path& path, std::error_code& reason);

/// The file that a symbolic link leads to, over further links, whether it exists or not; any other path as it
/// is. A path whose links go round in circles comes back unresolved.
[[nodiscard]] std::filesystem::path follow_links(const std::filesystem::path& path);

/// Puts the finished file `source` in the place of `target`, which may exist; both lie in the same folder. At
/// every moment `target` is either the old file or the complete new one, and the new one is on disk when the
/// call returns. False with the system's reason in `reason`; `target` is then as it was and `source` remains.
[[nodiscard]] bool replace_file(const std::filesystem::path& source, const std::filesystem::path& target,
                                std::string& reason);

}  // namespace veyrin::platform
