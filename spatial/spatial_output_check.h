// The overwrite rule of spatial output.
#pragma once

#include <filesystem>
#include <string>

namespace veyrin {

/// Refuses an existing output (any kind of file system object) unless `overwrite`, and a path of which the
/// system cannot say whether it exists; false with one message in `error`.
[[nodiscard]] bool check_spatial_output(const std::filesystem::path& output, bool overwrite,
                                        std::string& error);

}  // namespace veyrin
