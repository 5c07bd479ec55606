// Previews as PNG files.
#pragma once

#include <filesystem>
#include <memory>

#include "thumbnail/image.h"

namespace veyrin {

/// Writes the image to the output path followed by ".tmp", reads it back, and puts it in the place of the
/// output, which may exist, in one step. Folders that are missing are made. False after one line on the
/// console; the output is then as it was. The temporary file never remains.
[[nodiscard]] bool write_png_atomically(const std::filesystem::path& output, const Image& image);

/// The file in which `write_png_atomically` prepares its output.
std::filesystem::path temporary_png_path(const std::filesystem::path& output);

/// The file decoded by another library than the one that encodes; null when it is no whole PNG.
std::shared_ptr<SinglePlaneImage> read_png(const std::filesystem::path& file);

}  // namespace veyrin
