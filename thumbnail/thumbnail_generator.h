// The PNG preview of one recording.
#pragma once

#include <filesystem>

namespace veyrin {

/// Writes a preview `target_width` pixels wide: both rectified eyes of a raw dual-track recording side by
/// side, of any other video its first frame, upright. Decodes only the first frame of each stream it shows.
/// False after one line on the console that tells why; the output is then as it was. An existing output is
/// replaced in one step and only with `overwrite`, never when it is the input itself.
[[nodiscard]] bool generate_thumbnail(const std::filesystem::path& input_path,
                                      const std::filesystem::path& output_path, int target_width,
                                      bool overwrite);

}  // namespace veyrin
