// What reading a recording says of videos that do not fit the calibration, and how much of a document it
// quotes.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "media/video_types.h"
#include "metadata/recording_metadata.h"
#include "tests/metadata/sample_document.h"
#include "tests/metadata/small_movie.h"
#include "tests/recordings/gpmf_sample.h"
#include "tests/recordings/movie_writer.h"
#include "tests/support/captured_output.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using nlohmann::json;

class RecordingNotices : public testing::Test {
 protected:
  /// Reads a recording with this document and pictures of 64x64. Gives what was printed, or the error.
  std::string read(const std::string& document) {
    const auto path = folder_ / "recording.mp4";
    std::string error;
    EXPECT_TRUE(
        recordings::write_movie(path,
                                {video_track(), video_track(),
                                 data_track({recordings::gpmf_sample(document)}, "Kaleth Timed Metadata")},
                                {}, error))
        << error;
    RecordingMetadata metadata;
    capture_output();
    const bool done = read_recording_metadata(path, metadata, error);
    const std::string printed = captured_output();
    return done ? printed.substr(printed.find("\n\n") + 2) : error;
  }

  static std::string document_for(Size left, Size right) {
    json document = complete_document();
    const auto set = [](json& camera, Size size) {
      for (json& lens : camera["intrinsics"]) {
        lens["width"] = size.width;
        lens["height"] = size.height;
      }
    };
    set(document["cameras"][0], left);
    set(document["cameras"][1], right);
    return document.dump();
  }

  TemporaryFolder folder_;
};

TEST_F(RecordingNotices, SayNothingOfSizesThatAgree) {
  EXPECT_EQ(read(document_for({64, 64}, {64, 64})), "");
}

TEST_F(RecordingNotices, NameBothSizesOfAnEyeWhoseVideoHasAnother) {
  EXPECT_EQ(
      read(document_for({64, 64}, {64, 63})),
      "[RecordingMetadata] The calibration of the right eye is for 64x63 pixels, but its video has 64x64\n");
  EXPECT_EQ(
      read(document_for({128, 64}, {128, 64})),
      "[RecordingMetadata] The calibration of the left eye is for 128x64 pixels, but its video has 64x64\n"
      "[RecordingMetadata] The calibration of the right eye is for 128x64 pixels, but its video has "
      "64x64\n");
}

// Such a recording fails later, with a message of its own.
TEST_F(RecordingNotices, SayNothingOfATrackThatIsNotThere) {
  json document = json::parse(document_for({64, 64}, {32, 32}));
  document["cameras"][1]["track"] = 7;
  EXPECT_EQ(read(document.dump()), "");
}

// The JSON library quotes the whole text that it stopped at.
TEST_F(RecordingNotices, QuoteLittleOfADocument) {
  const std::string before =
      "invalid recording metadata: [json.exception.parse_error.101] parse error at line 1, column 30002: "
      "syntax "
      "error while parsing value - invalid string: missing closing quote; last read: '";
  const std::string text(30000, 'x');
  EXPECT_EQ(read("\"" + text), before + "\"" + text.substr(0, 199) + "...'");
}

}  // namespace
}  // namespace veyrin::test
