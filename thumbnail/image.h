// Small RGBA images of previews.
#pragma once

#include <cstdint>
#include <memory>

namespace veyrin {

/// One pixel, in the byte order of a PNG.
struct Rgba {
  std::uint8_t red = 0, green = 0, blue = 0, alpha = 255;
  bool operator==(const Rgba&) const = default;
};
static_assert(sizeof(Rgba) == 4);

/// An RGBA image of fixed size in pixels, rows from the top.
class Image {
 public:
  virtual ~Image() = default;
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  [[nodiscard]] int width() const { return width_; }
  [[nodiscard]] int height() const { return height_; }
  /// The `width` pixels of a row that exists.
  [[nodiscard]] virtual Rgba* row(int y) = 0;
  [[nodiscard]] virtual const Rgba* row(int y) const = 0;

 protected:
  Image(int width, int height) : width_(width), height_(height) {}

 private:
  int width_;
  int height_;
};

/// All pixels in one plane without gaps. Held by reference count: whoever holds it may change it, so it is
/// handed on once it is finished.
class SinglePlaneImage final : public Image {
 public:
  /// An image of one colour; null when a side is below 1, the size is beyond what is ever asked for
  /// (2^28 pixels) or memory is short.
  static std::shared_ptr<SinglePlaneImage> create(int width, int height, Rgba fill);

  [[nodiscard]] Rgba* row(int y) override { return pixels_.get() + offset(y); }
  [[nodiscard]] const Rgba* row(int y) const override { return pixels_.get() + offset(y); }

 private:
  SinglePlaneImage(int width, int height, std::unique_ptr<Rgba[]> pixels)
      : Image(width, height), pixels_(std::move(pixels)) {}
  [[nodiscard]] std::size_t offset(int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width());
  }

  std::unique_ptr<Rgba[]> pixels_;
};

}  // namespace veyrin
