// File operations that must hold even when the program or the machine stops in the middle.
#pragma once

#include <filesystem>
#include <string>

namespace veyrin::platform {

/// Puts the finished file `source` in the place of `target`, which may exist; both lie in the same folder. At
/// every moment `target` is either the old file or the complete new one, and the new one is on disk when the
/// call returns. False with the system's reason in `reason`; `target` is then as it was and `source` remains.
[[nodiscard]] bool replace_file(const std::filesystem::path& source, const std::filesystem::path& target,
                                std::string& reason);

}  // namespace veyrin::platform
