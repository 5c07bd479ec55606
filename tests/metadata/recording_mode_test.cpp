#include "metadata/recording_mode.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/metadata/thrown_message.h"

namespace veyrin::test {
namespace {

struct Case {
  const char* text;
  RecordingMode mode;
};

TEST(RecordingMode, RecognisesEachText) {
  const Case cases[] = {
      {"raw", RecordingMode::raw_dual_track},
      {"raw-dual", RecordingMode::raw_dual_track},
      {"raw-dual-track", RecordingMode::raw_dual_track},
      {"dual-track", RecordingMode::raw_dual_track},
      {"undistorted", RecordingMode::undistorted},
      {"sbs", RecordingMode::sbs},
      {"RAW-DUAL-TRACK-v1", RecordingMode::raw_dual_track},
      {"raw-v1", RecordingMode::raw_dual_track},
      {"  sbs\t\r\n\v\f", RecordingMode::sbs},
      {"Undistorted", RecordingMode::undistorted},
      {" sbs -v1", RecordingMode::sbs},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parse_recording_mode({{"recordingMode", c.text}}), c.mode) << c.text;
  }
}

TEST(RecordingMode, RefusesEveryOtherText) {
  for (const char* text :
       {"", " ", "-v1", "sbs-V1", "sbs-v1 ", "sbs-v2", "sbs-v1-v1", "raw dual", "mono", "\xC2\xA0sbs"}) {
    EXPECT_EQ(test::thrown_message([&] {
                (void)parse_recording_mode({{"recordingMode", text}});
              }),
              "unrecognized timed metadata recording mode")
        << text;
  }
}

TEST(RecordingMode, IsNothingWithoutTheKey) {
  EXPECT_EQ(parse_recording_mode(nlohmann::json::object()), std::nullopt);
  EXPECT_EQ(parse_recording_mode(nlohmann::json::array({"recordingMode"})), std::nullopt);
  EXPECT_EQ(parse_recording_mode("recordingMode"), std::nullopt);
}

TEST(RecordingMode, AsksForText) {
  EXPECT_EQ(test::thrown_message([] {
              (void)parse_recording_mode({{"recordingMode", 2}});
            }),
            "[json.exception.type_error.302] type must be string, but is number");
}

}  // namespace
}  // namespace veyrin::test
