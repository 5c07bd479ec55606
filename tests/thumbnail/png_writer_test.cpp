// The chunks of PNG files, taken apart as the file format defines them.
#include "thumbnail/png_writer.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tests/thumbnail/test_picture.h"
#include "tests/thumbnail/workers.h"

namespace veyrin::test {
namespace {

std::string bytes_of(const PacketPtr& png) {
  return png ? std::string(png->data, png->data + png->size) : "";
}

std::uint32_t number_at(const std::string& bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<std::uint8_t>(bytes.at(at + i));
  return number;
}

/// The check sum of a chunk, bit by bit.
std::uint32_t cyclic_redundancy(const std::string& bytes) {
  std::uint32_t sum = 0xffffffff;
  for (const char byte : bytes) {
    sum ^= static_cast<std::uint8_t>(byte);
    for (int bit = 0; bit < 8; ++bit) sum = sum & 1 ? sum >> 1 ^ 0xedb88320 : sum >> 1;
  }
  return ~sum;
}

struct Chunk {
  std::string name, data;
};

/// Checks the signature, every length and every check sum.
std::vector<Chunk> chunks_of(const std::string& file) {
  EXPECT_EQ(file.substr(0, 8), "\x89PNG\r\n\x1a\n");
  std::vector<Chunk> chunks;
  for (std::size_t at = 8; at < file.size();) {
    const std::size_t length = number_at(file, at);
    if (at + 12 + length > file.size()) {
      ADD_FAILURE() << "a chunk goes on beyond the end";
      break;
    }
    chunks.push_back({file.substr(at + 4, 4), file.substr(at + 8, length)});
    EXPECT_EQ(number_at(file, at + 8 + length), cyclic_redundancy(file.substr(at + 4, 4 + length)));
    at += 12 + length;
  }
  return chunks;
}

/// What the IDAT chunks hold together, or nothing when it is not one stream of this length.
std::string inflated(const std::vector<Chunk>& chunks, std::size_t length) {
  std::string packed;
  for (const Chunk& chunk : chunks) {
    if (chunk.name == "IDAT") packed += chunk.data;
  }
  std::string rows(length, '\0');
  auto written = static_cast<uLongf>(length);
  const int result =
      uncompress(reinterpret_cast<Bytef*>(rows.data()), &written,
                 reinterpret_cast<const Bytef*>(packed.data()), static_cast<uLong>(packed.size()));
  return result == Z_OK && written == length ? rows : "";
}

/// Undoes the filters of rows of `row_bytes` bytes, whose numbers it adds to `filters`.
std::string unfiltered(const std::string& rows, std::size_t row_bytes, std::string& filters) {
  std::string pixels;
  for (std::size_t begin = 0; begin + row_bytes < rows.size(); begin += row_bytes + 1) {
    filters += rows[begin];
    for (std::size_t i = 0; i < row_bytes; ++i) {
      const char left = i >= sizeof(Rgba) ? pixels[pixels.size() - sizeof(Rgba)] : '\0';
      const char above = begin > 0 ? pixels[pixels.size() - row_bytes] : '\0';
      const int prediction = rows[begin] == 1 ? left : rows[begin] == 2 ? above : 0;
      pixels += static_cast<char>(rows[begin + 1 + i] + prediction);
    }
  }
  return pixels;
}

/// Some of it smooth, some of it not.
Rgba painted(int x, int y) {
  const auto noise = static_cast<std::uint8_t>((x * 2654435761U ^ y * 40503U) >> 7);
  return {static_cast<std::uint8_t>(x / 3 + y), static_cast<std::uint8_t>(y % 50 < 25 ? noise : 90),
          static_cast<std::uint8_t>(noise % 4 + x), 255};
}

struct Taken {
  std::vector<Chunk> chunks;
  std::string filters, pixels;
};

Taken taken_apart(const std::string& file, const Image& image) {
  Taken taken;
  taken.chunks = chunks_of(file);
  const std::size_t row_bytes = static_cast<std::size_t>(image.width()) * sizeof(Rgba);
  const std::string rows = inflated(taken.chunks, (row_bytes + 1) * static_cast<std::size_t>(image.height()));
  taken.pixels = unfiltered(rows, row_bytes, taken.filters);
  return taken;
}

std::string pixels_of(const Image& image) {
  std::string pixels;
  for (int y = 0; y < image.height(); ++y) {
    pixels.append(reinterpret_cast<const char*>(image.row(y)),
                  static_cast<std::size_t>(image.width()) * sizeof(Rgba));
  }
  return pixels;
}

struct Shape {
  int width, height;
};

class PngWriter : public testing::TestWithParam<Shape> {};

TEST_P(PngWriter, WritesChunksThatHoldEveryPixel) {
  const auto [width, height] = GetParam();
  const auto image = picture(width, height, painted);
  image->row(height / 2)[width - 1].alpha = 254;
  const Taken taken = taken_apart(bytes_of(encoded_png(*image, workers())), *image);
  EXPECT_TRUE(taken.pixels == pixels_of(*image));
  EXPECT_EQ(taken.filters.find_first_not_of("\1\2"), std::string::npos);

  std::string names;
  for (const Chunk& chunk : taken.chunks) {
    if (!names.ends_with(chunk.name)) names += chunk.name;
  }
  EXPECT_EQ(names, "IHDRpHYssRGBcHRMgAMAIDATIEND");
  const Chunk& header = taken.chunks.front();
  EXPECT_EQ(number_at(header.data, 0), static_cast<std::uint32_t>(width));
  EXPECT_EQ(number_at(header.data, 4), static_cast<std::uint32_t>(height));
  EXPECT_EQ(header.data.substr(8), std::string("\x8\6\0\0\0", 5));  // 8 bits, red, green, blue and alpha
}

INSTANTIATE_TEST_SUITE_P(Shapes, PngWriter,
                         testing::Values(Shape{1, 1}, Shape{7, 1}, Shape{1, 7}, Shape{37, 23},
                                         Shape{255, 700}));

TEST(PngWriter, MakesPicturesSmall) {
  // A bowl with the noise of a camera's last two bits.
  const auto image = picture(400, 400, [](int x, int y) {
    const int bowl = ((x - 200) * (x - 200) + (y - 200) * (y - 200)) / 400;
    const auto grain = [&](unsigned seed) { return static_cast<int>((x * 2654435761U ^ y * seed) >> 9) & 3; };
    return Rgba{static_cast<std::uint8_t>(bowl + grain(40503U)),
                static_cast<std::uint8_t>(bowl + grain(31337U)), static_cast<std::uint8_t>(bowl)};
  });
  const std::size_t size = bytes_of(encoded_png(*image, workers())).size();
  EXPECT_GT(size, 0U);
  EXPECT_LT(size, 400U * 400U * 3U / 2U);
}

/// As where a worker asks for memory that there is none of.
class ImageWithoutMemory final : public Image {
 public:
  ImageWithoutMemory() : Image({5, 5}) {}
  [[nodiscard]] Rgba* row(int) override { throw std::bad_alloc(); }
  [[nodiscard]] const Rgba* row(int) const override { throw std::bad_alloc(); }
};

TEST(PngWriter, WritesNothingWhenMemoryIsShort) {
  EXPECT_FALSE(encoded_png(ImageWithoutMemory(), workers()));
}

}  // namespace
}  // namespace veyrin::test
