#include "thumbnail/image.h"

#include <algorithm>
#include <new>

namespace veyrin {

std::shared_ptr<SinglePlaneImage> SinglePlaneImage::create(int width, int height, Rgba fill) {
  constexpr std::int64_t most_pixels = std::int64_t{1} << 28;
  if (width < 1 || height < 1 || std::int64_t{width} * height > most_pixels) return nullptr;
  const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  std::unique_ptr<Rgba[]> pixels(new (std::nothrow) Rgba[count]);
  if (!pixels) return nullptr;
  std::fill_n(pixels.get(), count, fill);
  return std::shared_ptr<SinglePlaneImage>(new SinglePlaneImage(width, height, std::move(pixels)));
}

}  // namespace veyrin
