// What building the maps and checking them alone say: sizes, valid shares, eyes that stay black.
#include <gtest/gtest.h>

#include <string>

#include "rectification/rectification_maps.h"
#include "tests/rectification/sample_calibration.h"
#include "tests/rectification/stored_maps.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

struct Outcome {
  bool done = false;
  std::string error;
  std::string printed;
};

Outcome build(const RawDualTrackCalibration& calibration, Size eye = {64, 48}) {
  Outcome outcome;
  StoredMaps maps;
  capture_output();
  outcome.done = build_stored_maps(calibration, eye, maps, outcome.error);
  if (outcome.done) report_valid_shares(maps.left_valid_fraction, maps.right_valid_fraction);
  outcome.printed = captured_output();
  return outcome;
}

Outcome check(const RawDualTrackCalibration& calibration, Size eye) {
  Outcome outcome;
  capture_output();
  outcome.done = check_rectification(calibration, eye, outcome.error);
  outcome.printed = captured_output();
  return outcome;
}

TEST(RectificationMaps, OfMoreThanTheLargestSizeAreRefusedByName) {
  struct SizeCase {
    Size eye;
    std::string name;
  };
  for (const SizeCase& c :
       {SizeCase{{16385, 8192}, "16385x8192"}, SizeCase{{2147483647, 2147483647}, "2147483647x2147483647"}}) {
    const std::string message = "rectified eye size is too large: " + c.name + " (at most 134217728 pixels)";
    EXPECT_EQ(build(sample_calibration(), c.eye).error, message);
    EXPECT_EQ(check(sample_calibration(), c.eye).error, message);
  }
}

TEST(RectificationCheck, SaysWhatBuildingSays) {
  RawDualTrackCalibration narrow = parallel_calibration();
  narrow.right_intrinsics.width = 60;
  RawDualTrackCalibration flat = sample_calibration();
  flat.left_intrinsics.fx = 0.0;
  RawDualTrackCalibration invalid = sample_calibration();
  invalid.valid = false;
  for (const RawDualTrackCalibration& calibration : {sample_calibration(), narrow, flat, invalid}) {
    for (const Size eye : {Size{64, 48}, Size{1, 1}, Size{0, 3}, Size{333, 1}}) {
      const Outcome built = build(calibration, eye);
      const Outcome checked = check(calibration, eye);
      EXPECT_EQ(checked.done, built.done);
      EXPECT_EQ(checked.error, built.error);
      EXPECT_EQ(checked.printed, built.printed);
    }
  }
}

// 2^25 pixels, of which every second row and column is looked at.
TEST(RectificationCheck, LooksAtASampleOfLargeEyes) {
  RawDualTrackCalibration narrow = parallel_calibration();
  narrow.right_intrinsics.width = 60;
  const Outcome outcome = check(narrow, {8192, 4096});
  ASSERT_TRUE(outcome.done) << outcome.error;
  const Outcome small = build(narrow, {1024, 512});
  EXPECT_EQ(outcome.printed, small.printed);
}

TEST(RectificationMaps, WithoutAValidPixelAreNoticed) {
  RawDualTrackCalibration calibration = parallel_calibration();
  calibration.left_intrinsics.cx = 1e6;
  const Outcome outcome = build(calibration);
  ASSERT_TRUE(outcome.done) << outcome.error;
  EXPECT_EQ(outcome.printed,
            "  rectification_valid_pixels: left 0.0%, right 0.0%\n\n"
            "  rectification: both eyes have no valid pixel and will be black\n");
}

}  // namespace
}  // namespace veyrin::test
