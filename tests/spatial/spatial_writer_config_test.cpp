#include <gtest/gtest.h>

#include <cmath>

#include "spatial/two_view_encoder.h"

namespace veyrin::test {
namespace {

TEST(CameraDistance, IsTheLengthOfTheTranslationInMillimetres) {
  struct DistanceCase {
    std::array<float, 3> translation;
    double millimetres;
  };
  for (const DistanceCase& c : {
           DistanceCase{{0.064F, 0.0F, 0.0F}, 64.0},
           DistanceCase{{-0.064F, 0.0F, 0.0F}, 64.0},
           DistanceCase{{0.03F, 0.04F, 0.0F}, 50.0},
           DistanceCase{{0.02F, -0.03F, 0.06F}, 70.0},
           DistanceCase{{0.0F, 0.0F, 0.0F}, 0.0},
       }) {
    EXPECT_NEAR(camera_distance_mm({.translation = c.translation}), c.millimetres, 1e-5);
  }
}

TEST(HorizontalFieldOfView, IsThatOfTheMeanEye) {
  struct ViewCase {
    int left_width, right_width;
    double left_focal_length, right_focal_length;
    double degrees;
  };
  for (const ViewCase& c : {
           ViewCase{1920, 1920, 960, 960, 90.0},
           ViewCase{960, 960, 480, 480, 90.0},
           ViewCase{2000, 1840, 1000, 920, 90.0},
           ViewCase{1001, 1000, 500.25, 500.25, 90.0},
           ViewCase{1000, 1000, 500 * std::sqrt(3.0), 500 * std::sqrt(3.0), 60.0},
           ViewCase{1000, 1000, 500 / std::sqrt(3.0), 500 / std::sqrt(3.0), 120.0},
           ViewCase{640, 640, 0, 0, 180.0},
           // The sum of the widths is past the range of their type.
           ViewCase{2'000'000'000, 2'000'000'000, 1e9, 1e9, 90.0},
           ViewCase{2'147'483'647, 2'147'483'647, 2147483647 * std::sqrt(0.75), 2147483647 * std::sqrt(0.75),
                    60.0},
       }) {
    const RectifiedStereoGeometry geometry{c.left_width, c.right_width, c.left_focal_length,
                                           c.right_focal_length};
    EXPECT_NEAR(horizontal_field_of_view_degrees(geometry), c.degrees, 1e-9)
        << c.left_width << ' ' << c.left_focal_length;
  }
}

}  // namespace
}  // namespace veyrin::test
