#include "spatial/two_view_request.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/environment.h"

namespace veyrin::test {
namespace {

SpatialWriterConfig config() {
  SpatialWriterConfig config;
  config.eye = {1920, 1080};
  config.frame_rate = {30000, 1001};
  config.bit_rate = 5'000'000'000;
  config.colors = {AVCOL_PRI_BT2020, AVCOL_TRC_ARIB_STD_B67, AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_JPEG};
  config.depth = BitDepth::ten;
  return config;
}

TEST(TwoViewRequest, TellsOfTheMovie) {
  std::string error;
  const auto request = two_view_request(config(), error);
  ASSERT_TRUE(request) << error;
  EXPECT_EQ(*request, (two_view::Request{.width = 1920,
                                         .height = 1080,
                                         .bit_depth = 10,
                                         .rate_numerator = 30000,
                                         .rate_denominator = 1001,
                                         .primaries = 9,
                                         .transfer = 18,
                                         .matrix = 9,
                                         .full_range = 1,
                                         .key_distance = 58,
                                         .bits_per_second = 5'000'000'000}));
}

TEST(TwoViewRequest, TellsOfTheUsersSwitches) {
  const EnvironmentVariable preset("VEYRIN_TWO_VIEW_PRESET", "slow");
  for (const std::uint32_t number : {0U, 8U}) {
    const EnvironmentVariable b_frames("VEYRIN_TWO_VIEW_B_FRAMES", std::to_string(number));
    std::string error;
    const auto request = two_view_request(config(), error);
    ASSERT_TRUE(request) << error;
    EXPECT_EQ(request->preset, "slow");
    EXPECT_EQ(request->b_frames, number);
  }
}

TEST(TwoViewRequest, RefusesWhatIsNoNumberOfBFrames) {
  for (const char* text : {"9", "-1", "10", "two", " 1"}) {
    const EnvironmentVariable b_frames("VEYRIN_TWO_VIEW_B_FRAMES", text);
    std::string error;
    EXPECT_FALSE(two_view_request(config(), error)) << text;
    EXPECT_EQ(error, "VEYRIN_TWO_VIEW_B_FRAMES is not a number from 0 to 8");
  }
}

TEST(TwoViewRequest, NamesWhatTheProgramDoesNotTake) {
  struct Case {
    void (*change)(SpatialWriterConfig&);
    const char* words;
  };
  constexpr const char* sides = "eyes whose sides are odd or not from 16 to 8192 pixels";
  constexpr const char* rate = "a bit rate of 0 or above 1099 Gbit/s";
  for (const Case& tried : {
           Case{[](SpatialWriterConfig& c) { c.eye.width = 8194; }, sides},
           Case{[](SpatialWriterConfig& c) { c.eye.height = 14; }, sides},
           Case{[](SpatialWriterConfig& c) { c.eye.height = 1081; }, sides},
           Case{[](SpatialWriterConfig& c) { c.bit_rate = 0; }, rate},
           Case{[](SpatialWriterConfig& c) { c.bit_rate = std::int64_t{1} << 40U; }, rate},
       }) {
    SpatialWriterConfig changed = config();
    tried.change(changed);
    std::string error;
    EXPECT_FALSE(two_view_request(changed, error));
    EXPECT_EQ(error, std::string("the two-view encoder does not take ") + tried.words);
  }
}

}  // namespace
}  // namespace veyrin::test
