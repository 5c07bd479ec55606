#include "thumbnail/image.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace veyrin::test {
namespace {

TEST(SinglePlaneImage, IsFilledWithItsColourAtItsSize) {
  const auto image = SinglePlaneImage::create({3, 2}, {16, 18, 21, 255});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width(), 3);
  EXPECT_EQ(image->height(), 2);
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 3; ++x) EXPECT_EQ(image->row(y)[x], (Rgba{16, 18, 21, 255}));
  }
}

TEST(SinglePlaneImage, StoresPixelsAsRedGreenBlueAlphaRowAfterRow) {
  const auto image = SinglePlaneImage::create({2, 2}, {});
  image->row(1)[0] = {1, 2, 3, 4};
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(image->row(0)) + 8;
  EXPECT_EQ(std::vector<int>(bytes, bytes + 4), (std::vector<int>{1, 2, 3, 4}));
}

TEST(SinglePlaneImage, IsRefusedForImpossibleSizes) {
  constexpr int largest = std::numeric_limits<int>::max();
  EXPECT_FALSE(SinglePlaneImage::create({0, 1}, {}));
  EXPECT_FALSE(SinglePlaneImage::create({1, -1}, {}));
  EXPECT_FALSE(SinglePlaneImage::create({largest, largest}, {}));
  EXPECT_FALSE(SinglePlaneImage::create({1 << 20, 1 << 9}, {}));
}

}  // namespace
}  // namespace veyrin::test
