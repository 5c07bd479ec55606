// Decodes PNG files. The header-only decoder is compiled here and nowhere else.
#include <fstream>
#include <limits>
#include <memory>
#include <new>
#include <system_error>
#include <utility>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#define STBI_NO_STDIO
#include <stb/stb_image.h>

#include "thumbnail/image.h"

namespace veyrin {
namespace {

using Pixels = std::unique_ptr<stbi_uc, decltype(&stbi_image_free)>;

/// The pixels where the decoder has put them.
class DecodedImage final : public Image {
 public:
  DecodedImage(Size size, Pixels pixels) : Image(size), pixels_(std::move(pixels)) {}
  [[nodiscard]] Rgba* row(int y) override { return pixel(y); }
  [[nodiscard]] const Rgba* row(int y) const override { return pixel(y); }

 private:
  [[nodiscard]] Rgba* pixel(int y) const {
    return reinterpret_cast<Rgba*>(pixels_.get()) +
           static_cast<std::size_t>(y) * static_cast<std::size_t>(width());
  }

  Pixels pixels_;
};

}  // namespace

std::unique_ptr<Image> read_png(const std::filesystem::path& file) {
  std::error_code reason;
  const std::uintmax_t size = std::filesystem::file_size(file, reason);
  if (reason || size > static_cast<std::uintmax_t>(std::numeric_limits<int>::max())) return nullptr;
  const std::unique_ptr<stbi_uc[]> bytes(new (std::nothrow) stbi_uc[static_cast<std::size_t>(size)]);
  if (!bytes) return nullptr;
  std::ifstream stream(file, std::ios::binary);
  if (!stream.read(reinterpret_cast<char*>(bytes.get()), static_cast<std::streamsize>(size))) return nullptr;
  int width = 0, height = 0, stored_channels = 0;
  Pixels pixels(stbi_load_from_memory(bytes.get(), static_cast<int>(size), &width, &height, &stored_channels,
                                      /*req_comp=*/sizeof(Rgba)),
                &stbi_image_free);
  if (!pixels) return nullptr;
  return std::unique_ptr<Image>(new (std::nothrow) DecodedImage({width, height}, std::move(pixels)));
}

}  // namespace veyrin
