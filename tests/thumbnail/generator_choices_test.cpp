// Which preview a file gets, and every message on the way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/metadata/sample_document.h"
#include "tests/metadata/small_movie.h"
#include "tests/recordings/gpmf_sample.h"
#include "tests/recordings/movie_writer.h"
#include "tests/support/temporary_folder.h"
#include "tests/thumbnail/preview_run.h"

namespace veyrin::test {
namespace {

using nlohmann::json;
using recordings::MediaTrack;

/// A complete document whose cameras are parallel.
json parallel_document() {
  json document = complete_document();
  json& pose = document["extrinsics"]["avcam1InAvcam0"];
  pose["plus_x"] = {1, 0, 0};
  pose["plus_z"] = {0, 0, 1};
  return document;
}

MediaTrack metadata_track(const std::string& payload) {
  return data_track({recordings::gpmf_sample(payload)}, "Kaleth Timed Metadata");
}

/// A track with a decoder whose samples are nothing that it knows.
MediaTrack garbled_track() {
  MediaTrack track = video_track();
  for (recordings::MediaSample& sample : track.samples) sample.data = Bytes(40, 0xFF);
  return track;
}

class GeneratorChoices : public testing::Test {
 protected:
  std::filesystem::path movie(const std::vector<MediaTrack>& tracks, const std::string& name = "clip.mp4") {
    std::string error;
    EXPECT_TRUE(recordings::write_movie(folder_ / name, tracks, {}, error)) << error;
    return folder_ / name;
  }

  PreviewRun preview(const std::filesystem::path& input, int width = 64) {
    return run_preview(input, folder_ / "preview.png", width);
  }

  /// Expects a failure with one line after those that are no failures.
  void expect_failure(const PreviewRun& run, const std::string& lines) {
    EXPECT_FALSE(run.written);
    EXPECT_EQ(run.own_lines(), lines);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "preview.png"));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "preview.png.tmp"));
  }

  void expect_preview(const PreviewRun& run, const std::string& lines, int width, int height) {
    EXPECT_TRUE(run.written);
    EXPECT_EQ(run.own_lines(), lines);
    ASSERT_TRUE(run.image);
    EXPECT_EQ(run.image->width(), width);
    EXPECT_EQ(run.image->height(), height);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "preview.png.tmp"));
  }

  TemporaryFolder folder_;
};

const std::string missing_rotation = "Thumbnail rotation=0 quarter-turn(s), MP4 display matrix=missing\n";
const std::string one_playable =
    "Raw dual-track thumbnail has only 1 playable video stream(s); using rotated fallback\n";

std::string fallback(const std::string& reason) {
  return "No raw dual-track thumbnail, because " + reason + "; using rotated fallback\n";
}

std::string needs_hardware(int stream) {
  return "Video stream " + std::to_string(stream) +
         " is not playable: av1 can be decoded by graphics hardware only\n";
}

TEST_F(GeneratorChoices, RefusesWidthsBelowOne) {
  const std::filesystem::path input = movie({video_track()});
  expect_failure(preview(input, 0), "Invalid target width 0\n");
  expect_failure(preview(input, -7), "Invalid target width -7\n");
  expect_failure(preview(folder_ / "missing.mp4", 0), "Invalid target width 0\n");
}

TEST_F(GeneratorChoices, SaysWhyAFileCannotBeOpened) {
  expect_failure(preview(folder_ / "missing.mp4"), "avformat_open_input failed: No such file or directory\n");
  std::ofstream(folder_ / "text.mp4") << "no movie";
  expect_failure(preview(folder_ / "text.mp4"),
                 "avformat_open_input failed: Invalid data found when processing input\n");
}

TEST_F(GeneratorChoices, ShowsBothEyesOfARecording) {
  const std::filesystem::path input =
      movie({video_track(), video_track(), metadata_track(parallel_document().dump())});
  const PreviewRun run = preview(input, 64);
  expect_preview(run, missing_rotation, 64, 32);
  EXPECT_THAT(run.log, testing::HasSubstr("[RecordingMetadata] Raw dual-track calibration loaded from " +
                                          input.string() + " (native=1920x1440)\n\n"));
  EXPECT_THAT(run.log, testing::HasSubstr("[VideoReader] thumbnail track0 playback color: "));
  EXPECT_THAT(run.log, testing::HasSubstr("[VideoReader] thumbnail track1 playback color: "));
}

TEST_F(GeneratorChoices, NeedsNoDeclarationForBothEyes) {
  json document = parallel_document();
  document.erase("recordingMode");
  const auto input = movie({video_track(), video_track(), metadata_track(document.dump())});
  expect_preview(preview(input, 64), missing_rotation, 64, 32);
}

TEST_F(GeneratorChoices, CountsOnlyVideoStreamsForTheEyesTracks) {
  const auto input = movie({metadata_track(parallel_document().dump()), video_track(),
                            data_track({bytes_of("x")}, "Other", "abcd"), video_track()});
  expect_preview(preview(input, 64), missing_rotation, 64, 32);
}

TEST_F(GeneratorChoices, FailsForADeclaredRecordingWithAnInvalidCalibration) {
  const std::vector<std::function<void(json&)>> faults{
      [](json& document) { document["extrinsics"].erase("headliveInFrontcam0"); },
      [](json& document) { document["extrinsics"].erase("avcam1InAvcam0"); },
      [](json& document) { document.erase("cameras"); },
      [](json& document) { document["cameras"][1]["sourceCamera"] = "left"; },
      [](json& document) { document["cameras"][0]["intrinsics"][0].erase("k3"); },
      [](json& document) { document["pts"] = "soon"; },
  };
  for (const auto& fault : faults) {
    json document = parallel_document();
    fault(document);
    const auto input = movie({video_track(), video_track(), metadata_track(document.dump())});
    expect_failure(preview(input),
                   "Declared raw dual-track thumbnail has invalid calibration: " + input.string() + "\n");
  }
}

TEST_F(GeneratorChoices, FailsForADeclaredRecordingWithoutTwoTracks) {
  const std::vector<std::function<void(json&)>> faults{
      [](json& document) { document["cameras"][1]["track"] = 0; },
      [](json& document) { document["cameras"][0]["track"] = -1; },
  };
  for (const auto& fault : faults) {
    json document = parallel_document();
    fault(document);
    const auto input = movie({video_track(), video_track(), metadata_track(document.dump())});
    expect_failure(preview(input),
                   "Declared raw dual-track thumbnail does not contain an embedded raw-dual-track layout: " +
                       input.string() + "\n");
  }
}

TEST_F(GeneratorChoices, FailsForADeclaredRecordingWithFewerThanTwoPlayableStreams) {
  const MediaTrack metadata = metadata_track(parallel_document().dump());
  expect_failure(preview(movie({video_track(), metadata})),
                 "Declared raw dual-track thumbnail has only 1 playable video stream(s)\n");
  expect_failure(preview(movie({metadata})),
                 "Declared raw dual-track thumbnail has only 0 playable video stream(s)\n");
  MediaTrack unknown = video_track();
  unknown.codec_tag = "zzzz";
  expect_failure(preview(movie({video_track(), unknown, metadata})),
                 "Declared raw dual-track thumbnail has only 1 playable video stream(s)\n");
}

TEST_F(GeneratorChoices, FailsForADeclaredRecordingWhoseEyesTrackIsNotThere) {
  json document = parallel_document();
  document["cameras"][1]["track"] = 5;
  const auto input = movie({video_track(), video_track(), metadata_track(document.dump())});
  expect_failure(preview(input),
                 "Could not create a rectified raw dual-track thumbnail for " + input.string() + "\n");
}

TEST_F(GeneratorChoices, FailsWhenAnEyeCannotBeRendered) {
  const std::vector<std::function<void(json&)>> faults{
      // Just below the shortest baseline, and cameras one behind the other, which have no rectified view.
      [](json& document) {
        document["extrinsics"]["avcam1InAvcam0"]["position"] = {9e-7, 0, 0};
      },
      [](json& document) {
        document["extrinsics"]["avcam1InAvcam0"]["position"] = {0, 0, 0};
      },
      [](json& document) {
        document["extrinsics"]["avcam1InAvcam0"]["position"] = {0, 0, 0.064};
      },
      [](json& document) { document["cameras"][1]["intrinsics"][0]["fx"] = 0; },
      [](json& document) { document["cameras"][0]["intrinsics"][0]["cx"] = 1e7; },
  };
  for (const auto& fault : faults) {
    json document = parallel_document();
    fault(document);
    const auto input = movie({video_track(), video_track(), metadata_track(document.dump())});
    expect_failure(preview(input), missing_rotation +
                                       "Could not create a rectified raw dual-track thumbnail for " +
                                       input.string() + "\n");
  }
}

TEST_F(GeneratorChoices, AcceptsTheShortestBaseline) {
  json document = parallel_document();
  document["extrinsics"]["avcam1InAvcam0"]["position"] = {1e-6, 0, 0};
  const auto input = movie({video_track(), video_track(), metadata_track(document.dump())});
  expect_preview(preview(input, 64), missing_rotation, 64, 32);
}

TEST_F(GeneratorChoices, ShowsOnePictureOfAnyOtherVideo) {
  const auto input = movie({video_track()});
  expect_preview(preview(input, 64), one_playable + missing_rotation, 64, 64);
}

TEST_F(GeneratorChoices, ShowsOnePictureOfOtherRecordingModes) {
  json document = parallel_document();
  document["recordingMode"] = "undistorted";
  const auto input = movie({video_track(), metadata_track(document.dump())});
  expect_preview(preview(input, 64), one_playable + missing_rotation, 64, 64);
}

TEST_F(GeneratorChoices, SaysWhyItShowsOnePictureOfTwoStreams) {
  const std::string no_metadata = fallback("the file has no readable metadata of a recording");
  const std::string no_calibration = fallback("the metadata has no valid calibration");
  json undeclared = parallel_document();
  undeclared.erase("recordingMode");
  json without_pose = undeclared, one_track = undeclared, missing_track = undeclared;
  without_pose.erase("extrinsics");
  one_track["cameras"][1]["track"] = 0;
  missing_track["cameras"][1]["track"] = 5;
  const std::vector<std::pair<std::string, std::string>> cases{
      {"{\"pts\": 1}", no_calibration},
      {"[1, 2", no_metadata},
      {without_pose.dump(), no_calibration},
      {one_track.dump(), fallback("the calibration does not name two video tracks")},
      {missing_track.dump(), fallback("the right eye's track is not playable")}};
  for (const auto& [payload, reason] : cases) {
    const auto input = movie({video_track(), video_track(), metadata_track(payload)});
    expect_preview(preview(input, 64), reason + missing_rotation, 64, 64);
  }
  expect_preview(preview(movie({video_track(), video_track()}), 64), no_metadata + missing_rotation, 64, 64);
}

TEST_F(GeneratorChoices, ReadsTheOlderKeys) {
  json document = parallel_document();
  document["playbackTimestampSec"] = document["pts"];
  document.erase("pts");
  const auto input = movie({video_track(), video_track(), metadata_track(document.dump())});
  expect_preview(preview(input, 64), missing_rotation, 64, 32);
}

TEST_F(GeneratorChoices, TakesOneEyeAndSaysSoWhenTheOtherTrackGivesNoFrame) {
  MediaTrack empty = video_track();
  empty.samples.clear();
  const MediaTrack metadata = metadata_track(parallel_document().dump());
  for (const MediaTrack& other : {garbled_track(), empty}) {
    expect_preview(preview(movie({other, video_track(), metadata}), 64),
                   missing_rotation + fallback("the left eye's track gave no frame"), 64, 64);
    expect_preview(preview(movie({video_track(), other, metadata}), 64),
                   missing_rotation + fallback("the right eye's track gave no frame"), 64, 64);
  }
}

TEST_F(GeneratorChoices, TellsTheRotationOfTheTrackThatIsShown) {
  MediaTrack turned = video_track();
  turned.quarter_turns = 1;
  const MediaTrack metadata = metadata_track(parallel_document().dump());
  const std::string quarter_turn = "Thumbnail rotation=1 quarter-turn(s), MP4 display matrix=available\n";
  const PreviewRun second = preview(movie({garbled_track(), turned, metadata}), 64);
  EXPECT_EQ(second.own_lines(), quarter_turn + fallback("the left eye's track gave no frame"));
  const PreviewRun first = preview(movie({turned, garbled_track(), metadata}), 64);
  EXPECT_EQ(first.own_lines(), quarter_turn + fallback("the right eye's track gave no frame"));
}

TEST_F(GeneratorChoices, DoesNotCountStreamsThatNeedGraphicsHardware) {
  const MediaTrack metadata = metadata_track(parallel_document().dump());
  const MediaTrack av1 = av1_video_track();
  expect_failure(preview(movie({av1, av1, metadata})),
                 needs_hardware(0) + needs_hardware(1) +
                     "Declared raw dual-track thumbnail has only 0 playable video stream(s)\n");
  expect_failure(
      preview(movie({video_track(), av1, metadata})),
      needs_hardware(1) + "Declared raw dual-track thumbnail has only 1 playable video stream(s)\n");
  const auto only = movie({av1});
  expect_failure(
      preview(only),
      needs_hardware(0) +
          "Raw dual-track thumbnail has only 0 playable video stream(s); using rotated fallback\n" +
          missing_rotation + "Could not decode a frame of " + only.string() + "\n");
  // Any other video is shown by the stream that can be.
  expect_preview(preview(movie({av1, video_track()})), needs_hardware(0) + one_playable + missing_rotation,
                 64, 64);
  expect_preview(
      preview(movie({av1, video_track(), video_track()})),
      needs_hardware(0) + fallback("the file has no readable metadata of a recording") + missing_rotation, 64,
      64);
}

TEST_F(GeneratorChoices, NamesAnEyeThatNeedsGraphicsHardware) {
  json document = parallel_document();
  document.erase("recordingMode");
  document["cameras"][1]["track"] = 2;
  const MediaTrack metadata = metadata_track(document.dump());
  expect_preview(preview(movie({video_track(), video_track(), av1_video_track(), metadata})),
                 needs_hardware(2) + fallback("the right eye's track is not playable") + missing_rotation, 64,
                 64);
}

TEST_F(GeneratorChoices, SaysWhenNothingCanBeDecoded) {
  const auto input = movie({garbled_track()});
  expect_failure(preview(input),
                 one_playable + missing_rotation + "Could not decode a frame of " + input.string() + "\n");
}

TEST_F(GeneratorChoices, SaysWhenAStreamCannotBeUnderstood) {
  expect_failure(preview(movie({unreadable_video_track()})),
                 "avformat_find_stream_info failed: Invalid data found when processing input\n");
}

TEST_F(GeneratorChoices, SaysWhenThereIsNoVideo) {
  const auto input = movie({data_track({bytes_of("x")}, "Other")});
  expect_failure(preview(input),
                 "Raw dual-track thumbnail has only 0 playable video stream(s); using rotated fallback\n"
                 "No video stream found in " +
                     input.string() + "\n");
}

TEST_F(GeneratorChoices, SaysWhenTheOnlyStreamHasNoDecoder) {
  MediaTrack unknown = video_track();
  unknown.codec_tag = "zzzz";
  expect_failure(preview(movie({unknown})),
                 "Raw dual-track thumbnail has only 0 playable video stream(s); using rotated fallback\n" +
                     missing_rotation + "No decoder found for thumbnail stream 0\n");
}

TEST_F(GeneratorChoices, NeverReplacesItsInput) {
  const auto input = movie({video_track()});
  const std::string bytes = file_text(input);
  const PreviewRun run = run_preview(input, input, 64);
  EXPECT_FALSE(run.written);
  EXPECT_EQ(run.own_lines(), "output would replace its own input: " + input.string() + "\n");
  EXPECT_EQ(file_text(input), bytes);
}

TEST_F(GeneratorChoices, NeverWritesItsTemporaryFileOverItsInput) {
  const auto input = movie({video_track()}, "clip.png.tmp");
  const std::string bytes = file_text(input);
  const PreviewRun run = run_preview(input, folder_ / "clip.png", 64);
  EXPECT_FALSE(run.written);
  EXPECT_EQ(run.own_lines(), "output would replace its own input: " + input.string() + "\n");
  EXPECT_EQ(file_text(input), bytes);
}

TEST_F(GeneratorChoices, KeepsAnOlderPreviewWhenItFails) {
  std::ofstream(folder_ / "preview.png") << "older";
  EXPECT_FALSE(preview(folder_ / "missing.mp4").written);
  EXPECT_EQ(file_text(folder_ / "preview.png"), "older");
}

TEST_F(GeneratorChoices, FailsForSizesBeyondMemory) {
  const auto input = movie({video_track()});
  expect_failure(
      preview(input, 2'000'000'000),
      one_playable + missing_rotation + "Could not create a thumbnail for " + input.string() + "\n");
}

}  // namespace
}  // namespace veyrin::test
