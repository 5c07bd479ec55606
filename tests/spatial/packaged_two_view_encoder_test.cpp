#include "spatial/packaged_two_view_encoder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "common/platform/files.h"
#include "common/platform/program.h"
#include "spatial/two_view_encoder_choice.h"
#include "tests/spatial/coded_views.h"
#include "tests/spatial/sequence_header.h"
#include "tests/support/environment.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;

struct Sample {
  std::int64_t pts;
  std::int64_t dts;
  std::int64_t duration;
  bool key;
  std::string bytes;
};

class PackagedTwoViewEncoderTest : public testing::Test {
 protected:
  PackagedTwoViewEncoderTest() {
    config_.eye = {32, 16};
    config_.frame_rate = {30000, 1001};
    config_.bit_rate = 1'000'000;
    config_.camera_distance_mm = 64.0;
    config_.horizontal_field_of_view_degrees = 90.0;
    config_.colors = {AVCOL_PRI_BT709, AVCOL_TRC_BT709, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG};
  }

  std::unique_ptr<PackagedTwoViewEncoder> create(const std::string& fault = "") {
    set_variable("VEYRIN_TWO_VIEW_FAKE", fault);
    auto encoder = PackagedTwoViewEncoder::create(config_, error_, limits_);
    remove_variable("VEYRIN_TWO_VIEW_FAKE");
    return encoder;
  }

  /// Encodes so many pairs, whose pts begin at `first_pts_`; the message of the failure, empty when none.
  std::string encode(PackagedTwoViewEncoder& encoder, int pairs) {
    const auto sink = [this](AVPacket& sample, std::string& /*error*/) {
      samples_.push_back({sample.pts,
                          sample.dts,
                          sample.duration,
                          (sample.flags & AV_PKT_FLAG_KEY) != 0,
                          {sample.data, sample.data + sample.size}});
      return true;
    };
    for (int pair = 0; pair < pairs; ++pair) {
      const std::vector<FramePtr> frames = make_pair_of_frames(encoder, pair);
      if (!encoder.encode(*frames[0], *frames[1], sink, error_)) return error_;
    }
    return encoder.drain(sink, error_) ? "" : error_;
  }

  /// What a movie of three pairs fails with.
  std::string failure(const std::string& fault) {
    samples_.clear();
    error_.clear();
    const auto encoder = create(fault);
    return encoder ? encode(*encoder, 3) : error_;
  }

  std::vector<FramePtr> make_pair_of_frames(const PackagedTwoViewEncoder& encoder, int pair) {
    std::vector<FramePtr> frames;
    std::string expected;
    for (int view = 0; view < 2; ++view) {
      FramePtr& frame = frames.emplace_back(av_frame_alloc());
      EXPECT_TRUE(encoder.prepare_frame(view, *frame, error_)) << error_;
      frame->pts = first_pts_ + pair;
      expected += summed_view(view, pair == 0, fill(*frame, 50 * pair + view));
    }
    expected_.push_back(expected);
    return frames;
  }

  /// Fills a frame and gives its samples without what lies between the rows.
  static std::vector<std::uint8_t> fill(AVFrame& frame, int seed) {
    std::vector<std::uint8_t> samples;
    const bool words = frame.format == AV_PIX_FMT_P010LE;
    for (int plane = 0; plane < (words ? 2 : 3); ++plane) {
      const int row_bytes = words ? 2 * frame.width : plane == 0 ? frame.width : frame.width / 2;
      for (int y = 0; y < (plane == 0 ? frame.height : frame.height / 2); ++y)
        for (int x = 0; x < row_bytes; ++x)
          samples.push_back(frame.data[plane][y * frame.linesize[plane] + x] =
                                static_cast<std::uint8_t>(seed + x + 7 * y + 90 * plane));
    }
    return samples;
  }

  EnvironmentVariable program_{
      "VEYRIN_TWO_VIEW_ENCODER",
      platform::path_to_utf8(platform::module_path().parent_path() /
                             platform::executable_file_name("two_view_encoder_for_tests"))};
  SpatialWriterConfig config_;
  PackagedTwoViewEncoder::Limits limits_{.opening = 20s, .encoding = 20s};
  std::int64_t first_pts_ = 0;
  std::string error_;
  std::vector<Sample> samples_;
  std::vector<std::string> expected_;
};

TEST_F(PackagedTwoViewEncoderTest, GivesBothViewsOfEveryPairInTheTimesOfTheMovie) {
  for (const BitDepth depth : {BitDepth::eight, BitDepth::ten}) {
    for (const int pairs : {1, 2, 40}) {
      config_.depth = depth;
      first_pts_ = 10 * pairs;
      samples_.clear();
      expected_.clear();
      const auto encoder = create();
      ASSERT_TRUE(encoder) << error_;
      ASSERT_EQ(encode(*encoder, pairs), "");
      ASSERT_EQ(samples_.size(), static_cast<std::size_t>(pairs));
      for (int pair = 0; pair < pairs; ++pair) {
        const Sample& sample = samples_[static_cast<std::size_t>(pair)];
        EXPECT_EQ(sample.pts, first_pts_ + pair);
        EXPECT_EQ(sample.dts, first_pts_ + pair);
        EXPECT_EQ(sample.duration, 1);
        EXPECT_EQ(sample.key, pair == 0);
        EXPECT_EQ(sample.bytes, expected_[static_cast<std::size_t>(pair)]);
      }
    }
  }
}

TEST_F(PackagedTwoViewEncoderTest, MovieWithoutPairsEnds) {
  const auto encoder = create();
  ASSERT_TRUE(encoder) << error_;
  EXPECT_EQ(encode(*encoder, 0), "");
}

TEST_F(PackagedTwoViewEncoderTest, DescribesTheStreamAsFFmpegWould) {
  const auto encoder = create();
  ASSERT_TRUE(encoder) << error_;
  const AVCodecParameters& stream = encoder->parameters();
  EXPECT_EQ(stream.codec_id, AV_CODEC_ID_HEVC);
  EXPECT_EQ(stream.width, 32);
  EXPECT_EQ(stream.height, 16);
  EXPECT_EQ(stream.color_primaries, AVCOL_PRI_BT709);
  EXPECT_EQ(stream.field_order, AV_FIELD_PROGRESSIVE);
  EXPECT_EQ(stream.nb_coded_side_data, 3);
  const std::string header(reinterpret_cast<const char*>(stream.extradata),
                           static_cast<std::size_t>(stream.extradata_size));
  using namespace std::string_literals;
  EXPECT_EQ(header, sequence_header() + "\x00\x00\x00\x01\x4E\x01\xB0\x04\x04\x0D\x00\x20\x80"s);
  EXPECT_EQ(av_cmp_q(encoder->time_base(), {1001, 30000}), 0);
}

TEST_F(PackagedTwoViewEncoderTest, WhateverTheProgramDoesWrongIsOneMessage) {
  struct FaultCase {
    const char* fault;
    const char* error;
  };
  constexpr const char* ended = "the two-view encoder ended before its output was complete";
  for (const FaultCase& c : {
           FaultCase{"exit", ended},
           {"nonsense", "the two-view encoder sent what is no answer"},
           {"cut-answer", ended},
           {"version", "the two-view encoder speaks version 7 of the protocol instead of 1"},
           {"left-sets-only",
            "the two-view encoder gave a sequence header without the sequence parameter set of the right "
            "view"},
           {"die:1", ended},
           {"die:3", ended},
           {"fail:2", "the two-view encoder failed: out of ideas"},
           {"garbage:2", "the two-view encoder sent what is no answer"},
           {"cut-unit:3", ended},
           {"pts:2", "the two-view encoder gave a sample with wrong times (pts/dts=6/1)"},
           {"dts:2", "the two-view encoder gave a sample with wrong times (pts/dts=1/0)"},
           {"again:3", "the two-view encoder gave a sample with wrong times (pts/dts=1/2)"},
           {"lost:3", "the two-view encoder gave back 3 of 3 pairs"},
           {"short", "the two-view encoder gave back 2 of 3 pairs"},
           {"key:1", "the two-view encoder hid a key frame"},
           {"no-key:1", "the two-view encoder did not begin with a key frame"},
           {"key:2", "the two-view encoder called a sample a key frame that is none"},
           {"left-only:2", "the two-view encoder produced an MV-HEVC access unit without the right view"},
           {"right-only:2", "the two-view encoder produced an MV-HEVC access unit without the left view"},
           {"swapped:2",
            "the two-view encoder produced an MV-HEVC access unit with the right view before the left one"},
           {"status", "the two-view encoder failed with exit code 7"},
       }) {
    EXPECT_EQ(failure(c.fault), c.error) << c.fault;
  }
}

// Whether that shows at the next pair or at the end of the movie is a matter of time.
TEST_F(PackagedTwoViewEncoderTest, EndBeforeTheLastPairIsNoEnd) {
  const std::string message = failure("early-end:2");
  EXPECT_TRUE(message == "the two-view encoder sent its answers in the wrong order" ||
              message == "the two-view encoder gave back 1 of 3 pairs")
      << message;
}

TEST_F(PackagedTwoViewEncoderTest, PassesThePresetOnAndTheAnswerBack) {
  const EnvironmentVariable preset("VEYRIN_TWO_VIEW_PRESET", "swift");
  EXPECT_EQ(failure("failed"), "the two-view encoder failed: no preset is called swift");
}

TEST_F(PackagedTwoViewEncoderTest, ProgramThatDoesNothingIsNotWaitedForForEver) {
  limits_.opening = 1s;
  EXPECT_EQ(failure("silent"), "the two-view encoder did not answer within 1 seconds");
  limits_ = {.opening = 60s, .encoding = 1s};
  EXPECT_EQ(failure("silent-at-end"), "the two-view encoder did nothing for 1 seconds");
  EXPECT_EQ(failure("stays"), "the two-view encoder did not end");
  // Larger than what the pipe holds.
  config_.eye = {1024, 1024};
  EXPECT_EQ(failure("stall:1"), "the two-view encoder did nothing for 1 seconds");
}

TEST_F(PackagedTwoViewEncoderTest, ThatDiesWhileItIsFedIsNotWaitedFor) {
  config_.eye = {1024, 1024};
  EXPECT_EQ(failure("die:1"), "the two-view encoder ended before its output was complete");
  EXPECT_EQ(failure("fail:1"), "the two-view encoder failed: out of ideas");
}

TEST_F(PackagedTwoViewEncoderTest, ProgramThatIsNotThereIsNamed) {
  set_variable("VEYRIN_TWO_VIEW_ENCODER", "nowhere/encoder");
  EXPECT_FALSE(create());
  EXPECT_EQ(error_,
            "two-view encoder not found (expected nowhere/encoder; VEYRIN_TWO_VIEW_ENCODER may override the "
            "location)");
}

TEST_F(PackagedTwoViewEncoderTest, ProgramThatCannotRunIsNamed) {
  const TemporaryFolder folder;
  const auto file = folder / platform::executable_file_name("encoder");
  std::ofstream(file) << "no program";
  set_variable("VEYRIN_TWO_VIEW_ENCODER", platform::path_to_utf8(file));
  EXPECT_FALSE(create());
  EXPECT_TRUE(error_.starts_with("could not start the two-view encoder (")) << error_;
}

TEST_F(PackagedTwoViewEncoderTest, WhatTheProgramDoesNotTakeIsSaidWithoutStartingIt) {
  config_.eye = {8194, 16};
  EXPECT_FALSE(create("silent"));
  EXPECT_EQ(error_,
            "the two-view encoder does not take eyes whose sides are odd or not from 16 to 8192 pixels");
}

TEST_F(PackagedTwoViewEncoderTest, ServesThoseWhoWantSoftwareWhereItIs) {
  EXPECT_EQ(two_view_encoder_for(/*software=*/true).acceleration, Acceleration::software);
  EXPECT_EQ(two_view_encoder_for(/*software=*/false).acceleration, Acceleration::hardware);
  // One that is named and not there is not passed over in silence: opening it fails.
  set_variable("VEYRIN_TWO_VIEW_ENCODER", "nowhere/encoder");
  EXPECT_EQ(two_view_encoder_for(/*software=*/true).acceleration, Acceleration::software);
}

}  // namespace
}  // namespace veyrin::test
