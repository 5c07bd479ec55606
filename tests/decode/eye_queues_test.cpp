// The queues of an eye's decoder, its end and the frames that it hands over.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/decode/simulated_hardware.h"

namespace veyrin::test {
namespace {

/// A small H.264 clip whose decoder reorders frames, opened in software.
class OpenedEye : public testing::Test {
 protected:
  void SetUp() override {
    clip_ = folder_.make("a.mp4", test_picture(frames) + "-c:v libx264 -bf 3 -pix_fmt yuv420p");
    input_ = open_clip(clip_);
    packets_ = read_packets(*input_);
    eye_ = open_eye(*input_->streams[0]);
  }

  void queue(std::size_t index) { eye_->queue_packet(PacketPtr(av_packet_clone(packets_[index].get()))); }

  static constexpr int frames = 40;
  ClipFolder folder_;
  std::filesystem::path clip_;
  InputContextPtr input_;
  std::vector<PacketPtr> packets_;
  std::unique_ptr<EyeDecoder> eye_;
  std::string error_;
};

TEST_F(OpenedEye, KeepsPacketsWaitingWhileFourFramesAreQueued) {
  for (std::size_t index = 0; index < packets_.size(); ++index) {
    queue(index);
    ASSERT_TRUE(eye_->pump(error_)) << error_;
    EXPECT_LE(eye_->queued_frames(), 4U);
  }
  EXPECT_EQ(eye_->queued_frames(), 4U);
  const std::size_t waiting = eye_->queued_packets();
  EXPECT_GT(waiting, 0U);

  for (int calls = 0; calls < 3; ++calls) ASSERT_TRUE(eye_->pump(error_)) << error_;
  EXPECT_EQ(eye_->queued_frames(), 4U) << "a full queue takes nothing more";
  EXPECT_EQ(eye_->queued_packets(), waiting);

  static_cast<void>(eye_->take_frame());
  ASSERT_TRUE(eye_->pump(error_)) << error_;
  EXPECT_EQ(eye_->queued_frames(), 4U);
}

TEST_F(OpenedEye, GivesEveryFrameWhenAllPacketsCameBeforeTheFirstFrameWasTaken) {
  for (std::size_t index = 0; index < packets_.size(); ++index) queue(index);
  eye_->finish();
  std::vector<double> times;
  while (!eye_->ended()) {
    ASSERT_TRUE(eye_->pump(error_)) << error_;
    ASSERT_LE(eye_->queued_frames(), 4U);
    if (eye_->ended()) break;
    ASSERT_TRUE(eye_->has_frame()) << "after " << times.size() << " frames";
    times.push_back(eye_->take_frame().time_seconds);
  }
  EXPECT_EQ(times.size(), folder_.probe_times(clip_, 0).size());
}

TEST_F(OpenedEye, HasNotEndedWhileFramesWait) {
  queue(0);
  eye_->finish();
  ASSERT_TRUE(eye_->pump(error_)) << error_;
  EXPECT_TRUE(eye_->has_frame());
  EXPECT_FALSE(eye_->ended());
  static_cast<void>(eye_->take_frame());
  EXPECT_TRUE(eye_->ended());
}

TEST_F(OpenedEye, EndsWithoutFramesWhenNoPacketCame) {
  eye_->finish();
  ASSERT_TRUE(eye_->pump(error_)) << error_;
  EXPECT_TRUE(eye_->ended());
}

TEST_F(OpenedEye, TakesASecondFlush) {
  queue(0);
  eye_->finish();
  ASSERT_TRUE(eye_->pump(error_)) << error_;
  EXPECT_EQ(eye_->queued_frames(), 1U);
  eye_->finish();
  EXPECT_TRUE(eye_->pump(error_)) << error_;
  EXPECT_EQ(eye_->queued_frames(), 1U);
  static_cast<void>(eye_->take_frame());
  EXPECT_TRUE(eye_->ended());
  eye_->finish();
  EXPECT_TRUE(eye_->pump(error_)) << error_;
  EXPECT_TRUE(error_.empty());
}

TEST_F(OpenedEye, LeavesAPacketBehindTheFlush) {
  eye_->finish();
  ASSERT_TRUE(eye_->pump(error_)) << error_;
  queue(0);
  EXPECT_TRUE(eye_->pump(error_)) << error_;
  EXPECT_EQ(eye_->queued_packets(), 1U);
  EXPECT_FALSE(eye_->has_frame());
  EXPECT_TRUE(eye_->ended());
}

TEST_F(OpenedEye, GivesTimeZeroToFramesWithoutTimestamps) {
  for (const PacketPtr& packet : packets_) packet->pts = packet->dts = AV_NOPTS_VALUE;
  const EyeRun run = run_eye(*eye_, packets_);
  ASSERT_TRUE(run.succeeded) << run.error;
  EXPECT_EQ(run.times, std::vector<double>(packets_.size(), 0.0));
}

TEST_F(OpenedEye, DecodesWithAsManyThreadsAsTheLibraryChooses) {
  // The library replaces "automatic" by its own count, which is 1 on a machine with one processor only.
  SimulatedHardware machine;
  eye_ = open_eye(*input_->streams[0], DecoderPreference::software, machine.calls);
  ASSERT_EQ(machine.contexts.size(), 1U);
  EXPECT_GT(machine.contexts[0]->thread_count, std::thread::hardware_concurrency() > 1 ? 1 : 0);
  EXPECT_EQ(eye_->hardware_device(), nullptr);
}

TEST_F(OpenedEye, KeepsFramesIntactAfterLaterOnesAreDecoded) {
  queue(0);
  ASSERT_TRUE(eye_->pump(error_)) << error_;
  for (std::size_t index = 1; index < packets_.size() && !eye_->has_frame(); ++index) {
    queue(index);
    ASSERT_TRUE(eye_->pump(error_)) << error_;
  }
  ASSERT_TRUE(eye_->has_frame());
  const DecodedFrame first = eye_->take_frame();
  const AVFrame& picture = *first.frame;
  std::vector<std::uint8_t> luma;
  for (int row = 0; row < picture.height; ++row) {
    const std::uint8_t* start = picture.data[0] + static_cast<std::ptrdiff_t>(row) * picture.linesize[0];
    luma.insert(luma.end(), start, start + picture.width);
  }
  static_cast<void>(run_eye(*eye_, packets_));
  for (int row = 0; row < picture.height; ++row) {
    ASSERT_EQ(std::memcmp(picture.data[0] + static_cast<std::ptrdiff_t>(row) * picture.linesize[0],
                          luma.data() + static_cast<std::ptrdiff_t>(row) * picture.width, picture.width),
              0)
        << "row " << row;
  }
}

}  // namespace
}  // namespace veyrin::test
