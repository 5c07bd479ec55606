// Decodes PNG files. The header-only decoder is compiled here and nowhere else.
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <system_error>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#define STBI_NO_STDIO
#include <stb/stb_image.h>

#include "thumbnail/image.h"

namespace veyrin {

ImagePtr read_png(const std::filesystem::path& file) {
  std::error_code reason;
  const std::uintmax_t size = std::filesystem::file_size(file, reason);
  if (reason || size > static_cast<std::uintmax_t>(std::numeric_limits<int>::max())) return nullptr;
  std::string bytes(static_cast<std::size_t>(size), '\0');
  std::ifstream stream(file, std::ios::binary);
  if (!stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return nullptr;
  constexpr int channels = sizeof(Rgba);
  int width = 0, height = 0, stored_channels = 0;
  const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
      stbi_load_from_memory(reinterpret_cast<const stbi_uc*>(bytes.data()), static_cast<int>(bytes.size()),
                            &width, &height, &stored_channels, channels),
      &stbi_image_free);
  if (!pixels) return nullptr;
  ImagePtr image = SinglePlaneImage::create({width, height}, {});
  if (!image) return nullptr;
  const std::size_t row_bytes = static_cast<std::size_t>(width) * channels;
  for (int y = 0; y < height; ++y) {
    std::memcpy(image->row(y), pixels.get() + static_cast<std::size_t>(y) * row_bytes, row_bytes);
  }
  return image;
}

}  // namespace veyrin
