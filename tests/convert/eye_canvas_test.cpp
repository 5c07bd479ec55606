#include "convert/eye_canvas.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace veyrin::test {
static std::ostream& operator<<(std::ostream& out, Size size) {
  return out << size.width << "x" << size.height;
}

namespace {

TEST(RequestedEyeSize, TakesFromTheNativeSizeWhatIsLeftOpen) {
  ConversionOptions options;
  EXPECT_EQ(requested_eye_size(options, {1920, 1080}), (Size{1920, 1080}));
  options.eye_width = 640;
  EXPECT_EQ(requested_eye_size(options, {1920, 1080}), (Size{640, 1080}));
  options.eye_height = 480;
  EXPECT_EQ(requested_eye_size(options, {1920, 1080}), (Size{640, 480}));
  options.eye_width.reset();
  EXPECT_EQ(requested_eye_size(options, {1920, 1080}), (Size{1920, 480}));
}

struct CanvasCase {
  Size eye;
  Size padded_4x3;
  Size padded_16x9;
};

const CanvasCase canvas_cases[] = {
    {{1920, 1080}, {1920, 1440}, {1920, 1080}},
    {{1000, 1000}, {1336, 1002}, {1792, 1008}},
    {{1920, 1920}, {2560, 1920}, {3424, 1926}},
    {{3840, 3840}, {5120, 3840}, {6848, 3852}},
    {{640, 480}, {640, 480}, {864, 486}},
    {{641, 480}, {648, 486}, {864, 486}},  // a quarter of 641 rounds up to 161, which is odd
    {{640, 481}, {648, 486}, {864, 486}},
    {{16, 9}, {16, 12}, {32, 18}},  // a unit of 1 is odd
    {{4, 3}, {8, 6}, {32, 18}},
    {{1, 1}, {8, 6}, {32, 18}},
    {{8, 6}, {8, 6}, {32, 18}},
    {{9, 6}, {16, 12}, {32, 18}},  // 3 units would do but are odd
    {{1080, 1920}, {2560, 1920}, {3424, 1926}},
};

TEST(PaddedEyeSize, IsTheSmallestCanvasWithAnEvenUnit) {
  for (const CanvasCase& c : canvas_cases) {
    EXPECT_EQ(padded_eye_size(c.eye, AspectPadding::none), c.eye);
    EXPECT_EQ(padded_eye_size(c.eye, AspectPadding::ratio_4x3), c.padded_4x3) << c.eye;
    EXPECT_EQ(padded_eye_size(c.eye, AspectPadding::ratio_16x9), c.padded_16x9) << c.eye;
  }
}

TEST(PaddedEyeSize, StaysAtTheLargestIntegerInsteadOfWrappingRound) {
  constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(padded_eye_size({largest, 1}, AspectPadding::ratio_4x3), (Size{largest, 1610612736}));
  EXPECT_EQ(padded_eye_size({1, largest}, AspectPadding::ratio_16x9), (Size{largest, largest}));
}

/// The smallest even unit by trying them all.
Size smallest_canvas(Size eye, int ratio_width, int ratio_height) {
  int unit = 2;
  while (ratio_width * unit < eye.width || ratio_height * unit < eye.height) unit += 2;
  return {ratio_width * unit, ratio_height * unit};
}

TEST(PaddedEyeSize, AgreesWithASearchOverAllUnits) {
  for (int width = 1; width <= 130; ++width) {
    for (int height = 1; height <= 130; ++height) {
      const Size eye{width, height};
      ASSERT_EQ(padded_eye_size(eye, AspectPadding::ratio_4x3), smallest_canvas(eye, 4, 3)) << eye;
      ASSERT_EQ(padded_eye_size(eye, AspectPadding::ratio_16x9), smallest_canvas(eye, 16, 9)) << eye;
    }
  }
}

}  // namespace
}  // namespace veyrin::test
