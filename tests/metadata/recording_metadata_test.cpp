#include "metadata/recording_metadata.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/metadata/sample_document.h"
#include "tests/metadata/small_movie.h"
#include "tests/recordings/gpmf_sample.h"
#include "tests/recordings/movie_writer.h"
#include "tests/support/captured_output.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using nlohmann::json;
using recordings::gpmf_sample;
using recordings::MediaTrack;

struct Outcome {
  bool read = false;
  RecordingMetadata metadata;
  std::string error;
  std::string printed;
  std::string path;
};

Outcome read(const std::filesystem::path& path) {
  Outcome outcome;
  outcome.path = path.string();
  outcome.metadata.left_track = 99;
  capture_output();
  outcome.read = read_recording_metadata(path, outcome.metadata, outcome.error);
  outcome.printed = captured_output();
  return outcome;
}

class ReadRecordingMetadata : public testing::Test {
 protected:
  Outcome read_movie(const std::vector<MediaTrack>& tracks) {
    std::string error;
    EXPECT_TRUE(recordings::write_movie(path_, tracks, {}, error)) << error;
    return read(path_);
  }

  /// A recording of two video tracks whose metadata track has the given samples.
  Outcome read_samples(const std::vector<Bytes>& samples) {
    return read_movie({video_track(), video_track(), data_track(samples, "Kaleth Timed Metadata")});
  }

  Outcome read_document(const json& document) { return read_samples({document_sample(document)}); }

  static Bytes other_sample() { return gpmf_sample("{}", {.schema = "other/v1"}); }
  static Bytes document_sample(const json& document) { return gpmf_sample(document.dump()); }

  TemporaryFolder folder_;
  std::filesystem::path path_ = folder_ / "recording.mp4";
};

TEST_F(ReadRecordingMetadata, ReadsACompleteRecording) {
  const Outcome outcome = read_document(complete_document());
  ASSERT_TRUE(outcome.read) << outcome.error;
  const RecordingMetadata& metadata = outcome.metadata;
  EXPECT_EQ(metadata.metadata_stream, 2);
  EXPECT_EQ(metadata.left_track, 0);
  EXPECT_EQ(metadata.right_track, 1);
  EXPECT_NEAR(metadata.duration_seconds, 0.3, 1e-9);
  EXPECT_FALSE(metadata.is_hdr);
  EXPECT_EQ(metadata.calibration.pts, 12.5);
  EXPECT_EQ(metadata.calibration.sample_time, 0.0);
  const RawDualTrackCalibration& raw = metadata.raw_calibration;
  EXPECT_TRUE(raw.valid);
  EXPECT_EQ(raw.left_track, 0);
  EXPECT_EQ(raw.right_track, 1);
  EXPECT_FLOAT_EQ(raw.native_aspect, 4.0F / 3.0F);
  EXPECT_EQ(raw.left_intrinsics.fx, 801.5);
  EXPECT_EQ(raw.right_intrinsics.fx, 803.5);
  EXPECT_EQ(raw.stereo_extrinsic.position, (std::array{0.064F, 0.001F, -0.002F}));
  EXPECT_EQ(raw.head_chain.position, metadata.calibration.head_chain.position);
  // Notices follow, since the small movie's pictures have another size.
  EXPECT_TRUE(outcome.printed.starts_with("[RecordingMetadata] Raw dual-track calibration loaded from " +
                                          outcome.path + " (native=1920x1440)\n\n"))
      << outcome.printed;
}

TEST_F(ReadRecordingMetadata, CannotOpenWhatIsNoMovie) {
  std::ofstream(path_) << "this is no movie";
  EXPECT_EQ(read(path_).error, "could not open input: " + path_.string());
  std::ofstream(path_, std::ios::trunc).close();
  EXPECT_EQ(read(path_).error, "could not open input: " + path_.string());
  EXPECT_EQ(read("absent folder/absent.mp4").error, "could not open input: absent folder/absent.mp4");
  EXPECT_EQ(read(std::filesystem::temp_directory_path()).error,
            "could not open input: " + std::filesystem::temp_directory_path().string());
}

TEST_F(ReadRecordingMetadata, CannotReadStreamsThatMakeNoSense) {
  const Outcome outcome = read_movie({unreadable_video_track()});
  EXPECT_FALSE(outcome.read);
  EXPECT_EQ(outcome.error, "could not read stream information: " + outcome.path);
}

TEST_F(ReadRecordingMetadata, NeedsATimedMetadataStream) {
  const Outcome outcome =
      read_movie({video_track(), video_track(), data_track({bytes_of("x")}, "Other", "mett")});
  EXPECT_FALSE(outcome.read);
  EXPECT_EQ(outcome.error, "no Kaleth gpmd stream found");
  EXPECT_EQ(outcome.metadata.left_track, -1);
}

TEST_F(ReadRecordingMetadata, ReadsATaggedTrackWithoutAName) {
  const Bytes document = document_sample(complete_document());
  const Outcome outcome = read_movie({data_track({document}, "Other"), video_track(), video_track()});
  ASSERT_TRUE(outcome.read) << outcome.error;
  EXPECT_EQ(outcome.metadata.metadata_stream, 0);
}

TEST_F(ReadRecordingMetadata, PrefersTheNamedTrackToAnEarlierTaggedOne) {
  json document = complete_document();
  document["pts"] = 77;
  const Outcome outcome =
      read_movie({data_track({document_sample(complete_document())}, "Other"), video_track(), video_track(),
                  data_track({document_sample(document)}, "Kaleth Timed Metadata", "mett")});
  ASSERT_TRUE(outcome.read) << outcome.error;
  EXPECT_EQ(outcome.metadata.metadata_stream, 3);
  EXPECT_EQ(outcome.metadata.calibration.pts, 77);
}

TEST_F(ReadRecordingMetadata, SkipsSamplesThatAreNoDocuments) {
  const Outcome outcome = read_samples({bytes_of("DEVC or so"), other_sample(), bytes_of("x"),
                                        document_sample(complete_document()), gpmf_sample("malformed")});
  ASSERT_TRUE(outcome.read) << outcome.error;
  // The fourth sample of a tenth of a second each.
  EXPECT_NEAR(outcome.metadata.calibration.sample_time, 0.3, 1e-12);
}

TEST_F(ReadRecordingMetadata, FailsWithoutAnyDocument) {
  for (const std::vector<Bytes>& samples :
       {std::vector<Bytes>{}, {bytes_of("DEVC")}, {other_sample(), bytes_of("DEVC")}}) {
    const Outcome outcome = read_samples(samples);
    EXPECT_FALSE(outcome.read);
    EXPECT_EQ(outcome.error, "no valid raw dual-track calibration sample found");
    EXPECT_EQ(outcome.printed, "");
  }
}

struct Incomplete {
  const char* pointer;  ///< what the document lacks
  const char* missing;  ///< what the notice names
};

TEST_F(ReadRecordingMetadata, FailsWhenTheFirstDocumentIsIncompleteAlthoughALaterOneIsNot) {
  const Incomplete cases[] = {
      {"/cameras/0/intrinsics", "valid intrinsics"},
      {"/cameras", "valid intrinsics"},
      {"/extrinsics", "the stereo extrinsic"},
      {"/extrinsics/avcam1InAvcam0", "the stereo extrinsic"},
      {"/extrinsics/headliveInFrontcam0", "the head chain"},
      {"/extrinsics/avcam0InFrontcam0", "the head chain"},
  };
  for (const Incomplete& c : cases) {
    const json::json_pointer pointer(c.pointer);
    json document = complete_document();
    document[pointer.parent_pointer()].erase(pointer.back());
    const Outcome outcome = read_samples({document_sample(document), document_sample(complete_document())});
    EXPECT_FALSE(outcome.read) << c.pointer;
    EXPECT_EQ(outcome.error, "no valid raw dual-track calibration sample found") << c.pointer;
    EXPECT_EQ(outcome.printed, "[RecordingMetadata] Raw dual-track calibration: " + outcome.path +
                                   " sample lacks " + c.missing + "\n")
        << c.pointer;
    EXPECT_FALSE(outcome.metadata.raw_calibration.valid) << c.pointer;
    EXPECT_EQ(outcome.metadata.raw_calibration.left_intrinsics.width, -1) << c.pointer;
  }
}

TEST_F(ReadRecordingMetadata, PutsOneTextBeforeEveryMalformedDocument) {
  json two_left = complete_document();
  two_left["cameras"][1]["sourceCamera"] = "left";
  const std::pair<Bytes, std::string> cases[] = {
      {bytes_of("AVmfb"), "invalid AVmf GPMF record"},
      {gpmf_sample("[]"), "json/v1 AVmd payload is not an object"},
      {gpmf_sample("{}"), "[json.exception.out_of_range.403] key 'pts' not found"},
      {gpmf_sample("{"),
       "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error while parsing object "
       "key - "
       "unexpected end of input; expected string literal"},
      {gpmf_sample(R"({"pts": "1"})"), "[json.exception.type_error.302] type must be number, but is string"},
      {document_sample(two_left), "invalid cameras[].sourceCamera assignment"},
  };
  for (const auto& [sample, message] : cases) {
    const Outcome outcome = read_samples({sample, document_sample(complete_document())});
    EXPECT_FALSE(outcome.read);
    EXPECT_EQ(outcome.error, "invalid recording metadata: " + message);
    EXPECT_EQ(outcome.printed, "");
  }
}

TEST_F(ReadRecordingMetadata, UnderstandsLegacyKeys) {
  json document = complete_document();
  document.erase("pts");
  document["playbackTimestampSec"] = 4.5;
  for (json& camera : document["cameras"]) {
    camera["videoTrackIndex"] = camera["track"].get<int>() + 2;
    camera.erase("track");
  }
  const Outcome outcome = read_document(document);
  ASSERT_TRUE(outcome.read) << outcome.error;
  EXPECT_EQ(outcome.metadata.calibration.pts, 4.5);
  EXPECT_EQ(outcome.metadata.left_track, 2);
  EXPECT_EQ(outcome.metadata.right_track, 3);
}

TEST_F(ReadRecordingMetadata, LeavesOddCamerasToTheDocumentsReader) {
  json document = complete_document();
  document["cameras"] = {5, document["cameras"][1]};
  EXPECT_EQ(read_document(document).error,
            "invalid recording metadata: [json.exception.type_error.306] cannot use value() with number");
  document["cameras"] = 7;
  EXPECT_EQ(read_document(document).error, "no valid raw dual-track calibration sample found");
}

TEST_F(ReadRecordingMetadata, SurvivesDeepNestingUnderAnyKey) {
  const std::string deep = std::string(29000, '[') + std::string(29000, ']');
  EXPECT_EQ(read_samples({gpmf_sample(R"({"playbackTimestampSec":)" + deep + "}")}).error,
            "invalid recording metadata: [json.exception.type_error.302] type must be number, but is array");
  EXPECT_EQ(read_samples({gpmf_sample(R"({"pts":0,"cameras":[{"sourceCamera":"left","videoTrackIndex":)" +
                                      deep + "}]}")})
                .error,
            "invalid recording metadata: [json.exception.type_error.302] type must be number, but is array");
  EXPECT_EQ(read_samples({gpmf_sample(R"({"pts":0,"extrinsics":{"avcam1InAvcam0":)" + deep + "}}")}).error,
            "invalid recording metadata: [json.exception.type_error.304] cannot use at() with array");
}

TEST_F(ReadRecordingMetadata, CallsTheAspectOneWithoutAHeight) {
  json document = complete_document();
  document["cameras"][0]["intrinsics"][0]["height"] = 0;
  const Outcome outcome = read_document(document);
  ASSERT_TRUE(outcome.read) << outcome.error;
  EXPECT_EQ(outcome.metadata.raw_calibration.native_aspect, 1.0F);
}

struct HdrCase {
  recordings::ColourTags left, right;
  bool hdr;
};

TEST_F(ReadRecordingMetadata, CallsARecordingHdrByTheColourTagsOfEitherEye) {
  constexpr recordings::ColourTags sdr{1, 1};
  const HdrCase cases[] = {
      {sdr, sdr, false},         {{}, {}, false},        {{9, 1}, sdr, true},   {{1, 18}, sdr, true},
      {{1, 16}, sdr, true},      {sdr, {9, 1}, true},    {sdr, {1, 18}, true},  {sdr, {1, 16}, true},
      {{1, 14}, {1, 15}, false}, {{12, 17}, sdr, false}, {{10, 1}, sdr, false},
  };
  const Bytes document = document_sample(complete_document());
  for (const HdrCase& c : cases) {
    const Outcome outcome = read_movie(
        {data_track({document}, "Kaleth Timed Metadata"), video_track(3, c.left), video_track(3, c.right)});
    ASSERT_TRUE(outcome.read) << outcome.error;
    EXPECT_EQ(outcome.metadata.is_hdr, c.hdr) << "left " << c.left.primaries << "/" << c.left.transfer
                                              << ", right " << c.right.primaries << "/" << c.right.transfer;
  }
}

TEST_F(ReadRecordingMetadata, SeesTheTransferOfTheCodedStream) {
  const Bytes document = document_sample(complete_document());
  const Outcome outcome =
      read_movie({video_track(), coded_hlg_video_track(), data_track({document}, "Kaleth Timed Metadata")});
  ASSERT_TRUE(outcome.read) << outcome.error;
  EXPECT_TRUE(outcome.metadata.is_hdr);
}

TEST_F(ReadRecordingMetadata, LooksForHdrOnTheNamedTracksOnly) {
  json document = complete_document();
  document["cameras"][0]["track"] = 2;
  document["cameras"][1]["track"] = 7;
  const MediaTrack hdr_track = video_track(3, recordings::ColourTags{9, 18});
  const Outcome outcome =
      read_movie({hdr_track, hdr_track, data_track({document_sample(document)}, "Kaleth Timed Metadata"),
                  video_track()});
  ASSERT_TRUE(outcome.read) << outcome.error;
  EXPECT_EQ(outcome.metadata.left_track, 2);
  EXPECT_EQ(outcome.metadata.right_track, 7);
  EXPECT_FALSE(outcome.metadata.is_hdr);
}

TEST_F(ReadRecordingMetadata, HasZeroDurationWhenTheContainerDoesNotKnowIt) {
  const Outcome outcome =
      read_movie({video_track(0), video_track(0), data_track({}, "Kaleth Timed Metadata")});
  EXPECT_EQ(outcome.error, "no valid raw dual-track calibration sample found");
  EXPECT_EQ(outcome.metadata.duration_seconds, 0.0);
}

}  // namespace
}  // namespace veyrin::test
