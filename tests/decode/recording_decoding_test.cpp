// Whole recordings of the kinds that cameras write, through the demuxer.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/recordings/recording.h"

namespace veyrin::test {
namespace {

using recordings::RecordingPlan;
using recordings::VideoCodec;

struct RecordingCase {
  const char* name;
  void (*change)(RecordingPlan& plan);
  BitDepth depth;
};

std::ostream& operator<<(std::ostream& out, const RecordingCase& recording) {
  return out << recording.name;
}

class DecodedRecording : public testing::TestWithParam<RecordingCase> {};

TEST_P(DecodedRecording, GivesBothEyesAsFfprobeListsThem) {
  const ClipFolder folder;
  RecordingPlan plan;
  plan.output = folder.path() / "recording.mp4";
  plan.width = plan.height = 96;
  plan.seconds = 1.5;
  plan.audio = false;
  GetParam().change(plan);
  std::string error;
  ASSERT_TRUE(recordings::make_recording(plan, error)) << error;

  const auto input = open_clip(plan.output);
  std::vector<int> tracks;
  for (unsigned index = 0; index < input->nb_streams; ++index) {
    if (input->streams[index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
      tracks.push_back(static_cast<int>(index));
  }
  ASSERT_EQ(tracks.size(), plan.single_camera ? 1U : 2U);
  const auto decoder =
      StereoDecoder::create(*input, tracks.front(), tracks.back(), DecoderPreference::software, error);
  ASSERT_TRUE(decoder) << error;
  EXPECT_EQ(decoder->left().bit_depth(), GetParam().depth);
  EXPECT_EQ(decoder->right().bit_depth(), GetParam().depth);

  const auto packets = read_packets(*input);
  std::vector<const AVPacket*> order;
  for (const PacketPtr& packet : packets) order.push_back(packet.get());
  const PairRun run = run_pairs(*decoder, order);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_LE(run.most_queued_frames, EyeDecoder::frame_queue_bound);

  const auto left = folder.probe_times(plan.output, 0);
  const auto right = folder.probe_times(plan.output, static_cast<int>(tracks.size()) - 1);
  ASSERT_EQ(left.size(), static_cast<std::size_t>(plan.frame_count()));
  ASSERT_EQ(run.left_times.size(), left.size());
  ASSERT_EQ(run.right_times.size(), right.size());
  for (std::size_t index = 0; index < left.size(); ++index) {
    EXPECT_NEAR(run.left_times[index], left[index], 1e-6) << "left frame " << index;
    EXPECT_NEAR(run.right_times[index], right[index], 1e-6) << "right frame " << index;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DecodedRecording,
    testing::Values(
        RecordingCase{"H264", [](RecordingPlan&) {}, BitDepth::eight},
        RecordingCase{"H264WithBFrames", [](RecordingPlan& plan) { plan.b_frames = 3; }, BitDepth::eight},
        RecordingCase{"FullRange", [](RecordingPlan& plan) { plan.full_range = true; }, BitDepth::eight},
        RecordingCase{"Hevc", [](RecordingPlan& plan) { plan.codec = VideoCodec::hevc; }, BitDepth::eight},
        RecordingCase{"HevcTenBit", [](RecordingPlan& plan) { plan.codec = VideoCodec::hevc10; },
                      BitDepth::ten},
        RecordingCase{"UnevenRate",
                      [](RecordingPlan& plan) {
                        plan.rate = {30000, 1001};
                      },
                      BitDepth::eight},
        RecordingCase{"WithSound", [](RecordingPlan& plan) { plan.audio = true; }, BitDepth::eight},
        RecordingCase{"OneEyeAfterTheOther", [](RecordingPlan& plan) { plan.bad_interleaving = true; },
                      BitDepth::eight},
        RecordingCase{"IndexFirst", [](RecordingPlan& plan) { plan.index_first = true; }, BitDepth::eight},
        RecordingCase{"SingleCamera", [](RecordingPlan& plan) { plan.single_camera = true; },
                      BitDepth::eight},
        RecordingCase{"RightEyeLater", [](RecordingPlan& plan) { plan.right_offset = 0.25; },
                      BitDepth::eight},
        RecordingCase{"BothEyesLater", [](RecordingPlan& plan) { plan.start_offset = 2.0; }, BitDepth::eight},
        RecordingCase{"Turned", [](RecordingPlan& plan) { plan.quarter_turns = 1; }, BitDepth::eight}),
    [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace veyrin::test
