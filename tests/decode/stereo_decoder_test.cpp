#include "decode/stereo_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/decode/simulated_hardware.h"

namespace veyrin::test {
namespace {

std::vector<const AVPacket*> in_file_order(const std::vector<PacketPtr>& packets) {
  std::vector<const AVPacket*> order;
  for (const PacketPtr& packet : packets) order.push_back(packet.get());
  return order;
}

std::vector<const AVPacket*> stream_by_stream(const std::vector<PacketPtr>& packets) {
  auto order = in_file_order(packets);
  std::ranges::stable_sort(order, {}, [](const AVPacket* packet) { return packet->stream_index; });
  return order;
}

void expect_times(const std::vector<double>& times, const std::vector<double>& expected) {
  ASSERT_EQ(times.size(), expected.size());
  for (std::size_t index = 0; index < expected.size(); ++index) {
    EXPECT_NEAR(times[index], expected[index], 1e-6) << "frame " << index;
  }
}

/// A recording of two tracks with different codecs and B-frames, and a sound track between them.
class TwoTracks : public testing::Test {
 protected:
  void SetUp() override {
    clip_ =
        folder_.make("a.mp4", test_picture(frames) + "-f lavfi -i sine=duration=2 " + test_picture(frames) +
                                  "-map 0 -map 1 -map 2 -c:v:0 libx264 -bf 3 -c:v:1 libx265 "
                                  "-x265-params log-level=none -pix_fmt yuv420p -c:a aac");
    input_ = open_clip(clip_);
    packets_ = read_packets(*input_);
  }

  static constexpr int frames = 50;
  static constexpr int left_stream = 0;
  static constexpr int sound_stream = 1;
  static constexpr int right_stream = 2;
  ClipFolder folder_;
  std::filesystem::path clip_;
  InputContextPtr input_;
  std::vector<PacketPtr> packets_;
};

TEST_F(TwoTracks, PairUpInFileOrder) {
  const auto decoder = open_eyes(*input_, left_stream, right_stream);
  const PairRun run = run_pairs(*decoder, in_file_order(packets_));
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_TRUE(decoder->ended());
  expect_times(run.left_times, folder_.probe_times(clip_, 0));
  expect_times(run.right_times, folder_.probe_times(clip_, 1));
  EXPECT_LE(run.most_queued_frames, 4U);
}

TEST_F(TwoTracks, PairUpWhenAllPacketsOfOneEyeComeFirst) {
  for (const bool right_first : {false, true}) {
    SCOPED_TRACE(right_first);
    const auto decoder = open_eyes(*input_, left_stream, right_stream);
    auto order = stream_by_stream(packets_);
    if (right_first) std::ranges::stable_sort(order, std::greater<>(), &AVPacket::stream_index);
    const PairRun run = run_pairs(*decoder, order);
    ASSERT_TRUE(run.succeeded) << run.error;
    expect_times(run.left_times, folder_.probe_times(clip_, 0));
    expect_times(run.right_times, folder_.probe_times(clip_, 1));
    EXPECT_EQ(run.most_queued_frames, 4U) << "pictures do not pile up";
    EXPECT_GT(run.most_queued_packets, 20U) << "packets do";
  }
}

TEST_F(TwoTracks, AreServedBySwappedCameras) {
  SimulatedHardware machine;
  machine.offered = false;
  const auto decoder =
      open_eyes(*input_, right_stream, left_stream, DecoderPreference::hardware, machine.calls);
  ASSERT_EQ(machine.contexts.size(), 2U);
  EXPECT_STREQ(machine.contexts[0]->codec->name, "hevc");
  EXPECT_STREQ(machine.contexts[1]->codec->name, "h264");
  EXPECT_EQ(decoder->left().stream().index, right_stream);
  EXPECT_EQ(decoder->right().stream().index, left_stream);
  const PairRun run = run_pairs(*decoder, in_file_order(packets_));
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(run.left_times.size(), static_cast<std::size_t>(frames));
}

TEST_F(TwoTracks, LetOneCameraServeBothEyes) {
  const auto decoder = open_eyes(*input_, left_stream, left_stream);
  const PairRun run = run_pairs(*decoder, in_file_order(packets_));
  ASSERT_TRUE(run.succeeded) << run.error;
  expect_times(run.left_times, folder_.probe_times(clip_, 0));
  EXPECT_EQ(run.left_times, run.right_times);
}

TEST_F(TwoTracks, EndWithTheShorterEye) {
  const auto decoder = open_eyes(*input_, left_stream, right_stream);
  std::vector<const AVPacket*> order;
  int right_packets = 0;
  for (const PacketPtr& packet : packets_) {
    if (packet->stream_index == right_stream && ++right_packets > 20) continue;
    order.push_back(packet.get());
  }
  const PairRun run = run_pairs(*decoder, order);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_TRUE(decoder->ended());
  EXPECT_EQ(run.right_times.size(), 20U);
  EXPECT_EQ(run.left_times.size(), 20U);
}

TEST_F(TwoTracks, GiveNoPairWhenOneEyeIsEmpty) {
  const auto decoder = open_eyes(*input_, left_stream, right_stream);
  std::vector<const AVPacket*> order;
  for (const PacketPtr& packet : packets_) {
    if (packet->stream_index != right_stream) order.push_back(packet.get());
  }
  const PairRun run = run_pairs(*decoder, order);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_TRUE(run.left_times.empty());
  EXPECT_TRUE(decoder->ended());
  EXPECT_LE(run.most_queued_frames, 4U);
}

TEST_F(TwoTracks, PassOverPacketsOfOtherStreams) {
  const auto decoder = open_eyes(*input_, left_stream, right_stream);
  std::string error;
  for (const PacketPtr& packet : packets_) {
    if (packet->stream_index != sound_stream) continue;
    ASSERT_TRUE(decoder->queue_packet(*packet, error)) << error;
  }
  EXPECT_EQ(decoder->left().queued_packets(), 0U);
  EXPECT_EQ(decoder->right().queued_packets(), 0U);
  EXPECT_FALSE(decoder->left().has_frame());
  EXPECT_FALSE(decoder->right().has_frame());
}

TEST_F(TwoTracks, FailOnTheRightEyeWithItsStreamNumber) {
  input_->streams[right_stream]->codecpar->codec_id = AV_CODEC_ID_NONE;
  std::string error;
  EXPECT_FALSE(StereoDecoder::create(*input_, left_stream, right_stream, DecoderPreference::software, error));
  EXPECT_EQ(error, "no decoder is available for video stream 2");
}

TEST_F(TwoTracks, ReportTheFailureOfEitherEye) {
  for (const int spoiled : {left_stream, right_stream}) {
    SCOPED_TRACE(spoiled);
    const auto decoder = open_eyes(*input_, left_stream, right_stream);
    const auto packets = read_packets(*open_clip(clip_));
    for (const PacketPtr& packet : packets) {
      if (packet->stream_index == spoiled) std::fill_n(packet->data, packet->size, std::uint8_t{0xa5});
    }
    const PairRun run = run_pairs(*decoder, in_file_order(packets));
    EXPECT_FALSE(run.succeeded);
    EXPECT_NE(run.error, "");
  }
}

}  // namespace
}  // namespace veyrin::test
