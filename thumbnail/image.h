// Small RGBA images of previews and their PNG files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>

#include "media/video_types.h"
#include "processing/cpu_worker_pool.h"

namespace veyrin {

/// One pixel, in the byte order of a PNG.
struct Rgba {
  std::uint8_t red = 0, green = 0, blue = 0, alpha = 255;
  bool operator==(const Rgba&) const = default;
};
static_assert(sizeof(Rgba) == 4);

/// An RGBA image of fixed size, rows from the top.
class Image {
 public:
  virtual ~Image() = default;
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  [[nodiscard]] Size size() const { return size_; }
  [[nodiscard]] int width() const { return size_.width; }
  [[nodiscard]] int height() const { return size_.height; }
  /// The `width` pixels of a row that exists.
  [[nodiscard]] virtual Rgba* row(int y) = 0;
  [[nodiscard]] virtual const Rgba* row(int y) const = 0;

 protected:
  explicit Image(Size size) : size_(size) {}

 private:
  Size size_;
};

/// All pixels in one plane without gaps.
class SinglePlaneImage final : public Image {
 public:
  /// An image of one colour; null when a side is below 1, the size is beyond what is ever asked for
  /// (2^28 pixels) or memory is short.
  [[nodiscard]] static std::unique_ptr<SinglePlaneImage> create(Size size, Rgba fill);

  [[nodiscard]] Rgba* row(int y) override { return pixels_.get() + offset(y); }
  [[nodiscard]] const Rgba* row(int y) const override { return pixels_.get() + offset(y); }

 private:
  SinglePlaneImage(Size size, std::unique_ptr<Rgba[]> pixels) : Image(size), pixels_(std::move(pixels)) {}
  [[nodiscard]] std::size_t offset(int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width());
  }

  std::unique_ptr<Rgba[]> pixels_;
};

using ImagePtr = std::unique_ptr<SinglePlaneImage>;

/// Writes the image to the output path followed by ".tmp", reads it back, and puts it in the place of the
/// output in one step; an output that exists by then is replaced only with `overwrite`. A link is followed.
/// Missing folders are made. False after one line on the console; the output is then as it was. The temporary
/// file never remains; whatever else has its name stays, and is a failure. Processes that write the same
/// output do so one after the other.
[[nodiscard]] bool write_png_atomically(const std::filesystem::path& output, const Image& image,
                                        bool overwrite, CpuWorkerPool& pool);

/// The file in which `write_png_atomically` prepares its output.
std::filesystem::path temporary_png_path(const std::filesystem::path& output);

/// The decoded file; null when it is no complete PNG. Another library than the one that encodes reads it.
[[nodiscard]] std::unique_ptr<Image> read_png(const std::filesystem::path& file);

}  // namespace veyrin
