#include "metadata/calibration_document.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/metadata/sample_document.h"
#include "tests/metadata/thrown_message.h"

namespace veyrin::test {
namespace {

using nlohmann::json;

std::string message_for(const json& document) {
  return thrown_message([&] { (void)read_stereo_calibration(document, 0.0); });
}

/// A document whose cameras carry the given tags and nothing else.
json tagged(const std::vector<std::string>& tags) {
  json document{{"pts", 0}, {"cameras", json::array()}};
  for (const std::string& tag : tags) document["cameras"].push_back({{"sourceCamera", tag}});
  return document;
}

TEST(CalibrationDocument, ReadsTheValuesOfACompleteDocument) {
  const StereoCalibration calibration = read_stereo_calibration(complete_document(), 3.25);
  EXPECT_EQ(calibration.sample_time, 3.25);
  EXPECT_EQ(calibration.pts, 12.5);
  EXPECT_EQ(calibration.nominal_fps, 59.94F);
  EXPECT_TRUE(calibration.has_recording_mode);
  EXPECT_EQ(calibration.recording_mode, RecordingMode::raw_dual_track);
  EXPECT_EQ(calibration.left_camera, 0);
  EXPECT_EQ(calibration.right_camera, 1);
  EXPECT_EQ(calibration.left_track, 0);
  EXPECT_EQ(calibration.right_track, 1);
  EXPECT_TRUE(calibration.has_mid_exposure);
  EXPECT_EQ(calibration.left_mid_exposure, 12.501);
  EXPECT_EQ(calibration.right_mid_exposure, 12.502);
  EXPECT_TRUE(calibration.has_left_temperature);
  EXPECT_EQ(calibration.left_temperature, 41.5F);
  EXPECT_TRUE(calibration.has_right_temperature);
  EXPECT_EQ(calibration.right_temperature, 42.25F);
  EXPECT_TRUE(calibration.intrinsics_valid);
  EXPECT_TRUE(calibration.has_stereo_extrinsic);
  EXPECT_TRUE(calibration.has_head_chain);
  EXPECT_TRUE(calibration.has_world_pose);
  EXPECT_TRUE(calibration.has_segment);
  EXPECT_EQ(calibration.segment_id, 5'000'000'000);
  EXPECT_TRUE(calibration.segment_start);
  EXPECT_TRUE(calibration.segment_discontinuity);
  EXPECT_EQ(calibration.stabilization_reset, "hard");
  EXPECT_EQ(calibration.head_angular_velocity, (std::array{0.1F, 0.2F, 0.3F}));
  EXPECT_EQ(calibration.head_linear_velocity, (std::array{1.0F, 2.0F, 3.0F}));
}

TEST(CalibrationDocument, KeepsDefaultsForWhatIsMissing) {
  const StereoCalibration calibration = read_stereo_calibration({{"pts", 7}}, 0.0);
  EXPECT_EQ(calibration.pts, 7.0);
  EXPECT_EQ(calibration.nominal_fps, 0.0F);
  EXPECT_FALSE(calibration.has_recording_mode);
  EXPECT_EQ(calibration.left_camera, -1);
  EXPECT_EQ(calibration.right_track, -1);
  EXPECT_FALSE(calibration.intrinsics_valid);
  EXPECT_FALSE(calibration.has_stereo_extrinsic);
  EXPECT_FALSE(calibration.has_head_chain);
  EXPECT_FALSE(calibration.has_world_pose);
  EXPECT_FALSE(calibration.has_mid_exposure);
  EXPECT_FALSE(calibration.has_left_temperature);
  EXPECT_FALSE(calibration.has_segment);
  EXPECT_EQ(calibration.segment_id, -1);
  EXPECT_EQ(calibration.stabilization_reset, "none");
}

TEST(CalibrationDocument, SkipsCamerasThatAreNoFilledList) {
  for (const json& cameras :
       {json::array(), json::object({{"sourceCamera", "left"}}), json(3), json(nullptr)}) {
    const StereoCalibration calibration = read_stereo_calibration({{"pts", 0}, {"cameras", cameras}}, 0.0);
    EXPECT_EQ(calibration.left_camera, -1) << cameras;
    EXPECT_FALSE(calibration.intrinsics_valid) << cameras;
  }
}

TEST(CalibrationDocument, FindsSwappedCameras) {
  const StereoCalibration calibration = read_stereo_calibration(tagged({"right", "left"}), 0.0);
  EXPECT_EQ(calibration.left_camera, 1);
  EXPECT_EQ(calibration.right_camera, 0);
  EXPECT_EQ(calibration.left_track, 1);
  EXPECT_EQ(calibration.right_track, 0);
}

TEST(CalibrationDocument, LetsASingleCameraServeBothEyes) {
  for (const char* tag : {"left", "right"}) {
    json document = tagged({tag});
    document["cameras"][0]["track"] = 4;
    const StereoCalibration calibration = read_stereo_calibration(document, 0.0);
    EXPECT_EQ(calibration.left_camera, 0) << tag;
    EXPECT_EQ(calibration.right_camera, 0) << tag;
    EXPECT_EQ(calibration.left_track, 4) << tag;
    EXPECT_EQ(calibration.right_track, 4) << tag;
  }
}

TEST(CalibrationDocument, RefusesAmbiguousCameraTags) {
  const std::vector<std::vector<std::string>> cases = {
      {"left", "left"},
      {"right", "right"},
      {"left", ""},
      {""},
      {"middle"},
      {"Left", "right"},
      {"left", "right", "left"},
      {"left", "right", "middle"},
      {"right", "left", "right", "left"},
  };
  for (const auto& tags : cases) {
    EXPECT_EQ(message_for(tagged(tags)), "invalid cameras[].sourceCamera assignment") << json(tags);
  }
  EXPECT_EQ(message_for({{"pts", 0}, {"cameras", {json::object()}}}),
            "invalid cameras[].sourceCamera assignment");
}

TEST(CalibrationDocument, ReadsEachCamerasTrack) {
  json document = tagged({"left", "right"});
  document["cameras"][0]["track"] = 3;
  document["cameras"][1]["track"] = 2;
  StereoCalibration calibration = read_stereo_calibration(document, 0.0);
  EXPECT_EQ(calibration.left_track, 3);
  EXPECT_EQ(calibration.right_track, 2);
  document["cameras"][1].erase("track");
  calibration = read_stereo_calibration(document, 0.0);
  EXPECT_EQ(calibration.right_track, 1);
}

TEST(CalibrationDocument, ConvertsTracksAsTheJsonLibraryDoesAndStaysDefinedOutOfRange) {
  struct Case {
    json track;
    std::int32_t read;
  };
  constexpr std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
  const Case cases[] = {
      {1.9, 1},          {-1.9, -1},         {2147483647.0, 2147483647}, {2147483648.0, smallest},
      {1e300, smallest}, {-1e300, smallest}, {-2147483648.0, smallest},  {4294967298, 2}};
  for (const Case& c : cases) {
    json document = tagged({"left", "right"});
    document["cameras"][0]["track"] = c.track;
    EXPECT_EQ(read_stereo_calibration(document, 0.0).left_track, c.read) << c.track;
  }
}

TEST(CalibrationDocument, TakesMidExposureOnlyFromBothCameras) {
  for (int camera = 0; camera < 2; ++camera) {
    json document = complete_document();
    document["cameras"][camera].erase("midExpTs");
    const StereoCalibration calibration = read_stereo_calibration(document, 0.0);
    EXPECT_FALSE(calibration.has_mid_exposure) << camera;
    EXPECT_EQ(calibration.left_mid_exposure, 0.0) << camera;
  }
}

TEST(CalibrationDocument, TakesEachTemperatureByItself) {
  json document = complete_document();
  document["cameras"][0].erase("temp");
  const StereoCalibration calibration = read_stereo_calibration(document, 0.0);
  EXPECT_FALSE(calibration.has_left_temperature);
  EXPECT_TRUE(calibration.has_right_temperature);
}

TEST(CalibrationDocument, IgnoresSegmentAndVelocityThatAreNoObjects) {
  json document = complete_document();
  document["segment"] = 5;
  document["headliveVelocityInWorld"] = json::array({1, 2, 3});
  const StereoCalibration calibration = read_stereo_calibration(document, 0.0);
  EXPECT_FALSE(calibration.has_segment);
  EXPECT_EQ(calibration.head_linear_velocity, (std::array{0.0F, 0.0F, 0.0F}));
}

TEST(CalibrationDocument, FillsAnEmptySegmentWithDefaults) {
  json document = complete_document();
  document["segment"] = json::object();
  const StereoCalibration calibration = read_stereo_calibration(document, 0.0);
  EXPECT_TRUE(calibration.has_segment);
  EXPECT_EQ(calibration.segment_id, -1);
  EXPECT_FALSE(calibration.segment_start);
  EXPECT_FALSE(calibration.segment_discontinuity);
  EXPECT_EQ(calibration.stabilization_reset, "none");
}

struct BrokenValue {
  const char* pointer;  ///< where in the complete document
  json value;
  const char* message;
};

TEST(CalibrationDocument, PassesTheJsonLibrarysTypeErrorsOn) {
  constexpr const char* no_number = "[json.exception.type_error.302] type must be number, but is string";
  constexpr const char* no_text = "[json.exception.type_error.302] type must be string, but is number";
  constexpr const char* no_boolean = "[json.exception.type_error.302] type must be boolean, but is number";
  const BrokenValue cases[] = {
      {"/pts", "1", no_number},
      {"/pts", nullptr, "[json.exception.type_error.302] type must be number, but is null"},
      {"/pts", true, "[json.exception.type_error.302] type must be number, but is boolean"},
      {"/nominalFps", "30", no_number},
      {"/recordingMode", 1, no_text},
      {"/recordingMode", "other", "unrecognized timed metadata recording mode"},
      {"/cameras/0", 5, "[json.exception.type_error.306] cannot use value() with number"},
      {"/cameras/0/sourceCamera", 1, no_text},
      {"/cameras/0/track", "1", no_number},
      {"/cameras/1/midExpTs", "1", no_number},
      {"/cameras/1/temp", "1", no_number},
      {"/segment/id", "1", no_number},
      {"/segment/start", 1, no_boolean},
      {"/segment/discontinuity", 1, no_boolean},
      {"/segment/stabilizationReset", 1, no_text},
      {"/headliveVelocityInWorld/angular", 1, "[json.exception.type_error.304] cannot use at() with number"},
      {"/headliveVelocityInWorld/linear",
       {1, 2},
       "[json.exception.out_of_range.401] array index 2 is out of range"},
      {"/headliveVelocityInWorld/linear", {1, 2, "3"}, no_number},
  };
  for (const BrokenValue& c : cases) {
    json document = complete_document();
    document[json::json_pointer(c.pointer)] = c.value;
    EXPECT_EQ(message_for(document), c.message) << c.pointer;
  }
}

TEST(CalibrationDocument, NamesMissingRequiredKeys) {
  EXPECT_EQ(message_for(json::object()), "[json.exception.out_of_range.403] key 'pts' not found");
  EXPECT_EQ(message_for({{"pts", 0}, {"headliveVelocityInWorld", {{"angular", {1, 2, 3}}}}}),
            "[json.exception.out_of_range.403] key 'linear' not found");
  EXPECT_EQ(message_for(json::array()), "[json.exception.type_error.304] cannot use at() with array");
}

TEST(CalibrationDocument, ReadsKeysInOrderSoThatTheFirstFailureWins) {
  json document = complete_document();
  document["segment"]["id"] = "1";
  document["extrinsics"]["avcam0InWorld"] = 1;
  EXPECT_EQ(message_for(document), "[json.exception.type_error.302] type must be number, but is string");
  document["cameras"][0]["sourceCamera"] = "";
  EXPECT_EQ(message_for(document), "invalid cameras[].sourceCamera assignment");
  document.erase("pts");
  EXPECT_EQ(message_for(document), "[json.exception.out_of_range.403] key 'pts' not found");
}

struct ModeName {
  const char* text;
  RecordingMode mode;
};

TEST(RecordingMode, RecognisesEachText) {
  const ModeName cases[] = {
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
  for (const ModeName& c : cases) {
    EXPECT_EQ(parse_recording_mode({{"recordingMode", c.text}}), c.mode) << c.text;
  }
}

TEST(RecordingMode, RefusesEveryOtherText) {
  for (const char* text :
       {"", " ", "-v1", "sbs-V1", "sbs-v1 ", "sbs-v2", "sbs-v1-v1", "raw dual", "mono", "\xC2\xA0sbs"}) {
    EXPECT_EQ(thrown_message([&] {
                (void)parse_recording_mode({{"recordingMode", text}});
              }),
              "unrecognized timed metadata recording mode")
        << text;
  }
}

TEST(RecordingMode, IsNothingWithoutTheKey) {
  EXPECT_EQ(parse_recording_mode(json::object()), std::nullopt);
  EXPECT_EQ(parse_recording_mode(json::array({"recordingMode"})), std::nullopt);
  EXPECT_EQ(parse_recording_mode("recordingMode"), std::nullopt);
}

TEST(RecordingMode, AsksForText) {
  EXPECT_EQ(thrown_message([] {
              (void)parse_recording_mode({{"recordingMode", 2}});
            }),
            "[json.exception.type_error.302] type must be string, but is number");
}

}  // namespace
}  // namespace veyrin::test
