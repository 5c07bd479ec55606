// Streams that nothing but graphics hardware can decode here: AV1, for which FFmpeg's own decoder has no
// software.
#include "decode/hardware_only.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "decode/stereo_decoder.h"
#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/decode/simulated_hardware.h"
#include "tests/metadata/small_movie.h"
#include "tests/recordings/movie_writer.h"
#include "tests/support/captured_output.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using recordings::MediaTrack;

class HardwareOnly : public testing::Test {
 protected:
  /// Opens a movie of these tracks.
  InputContextPtr movie(const std::vector<MediaTrack>& tracks) {
    std::string error;
    EXPECT_TRUE(recordings::write_movie(folder_ / "clip.mp4", tracks, {}, error)) << error;
    return open_clip(folder_ / "clip.mp4");
  }

  TemporaryFolder folder_;
};

TEST_F(HardwareOnly, IsWhatTheDecoderItselfSays) {
  const MediaTrack av1 = av1_video_track();
  const InputContextPtr input = movie({video_track(), av1, data_track({bytes_of("x")}, "Other")});
  EXPECT_FALSE(needs_hardware_decoder(*input, 0));
  EXPECT_TRUE(needs_hardware_decoder(*input, 1));
  EXPECT_FALSE(needs_hardware_decoder(*input, 2));
  MediaTrack empty = av1;
  empty.samples.clear();
  EXPECT_FALSE(needs_hardware_decoder(*movie({empty}), 0));
}

TEST_F(HardwareOnly, DoesNotMoveTheReader) {
  const InputContextPtr input = movie({av1_video_track()});
  ASSERT_TRUE(needs_hardware_decoder(*input, 0));
  EXPECT_EQ(read_packets(*input).size(), 3U);
}

TEST_F(HardwareOnly, IsNotSaidOfSoftwareThatWorksOnOneThread) {
  const ClipFolder clips;
  for (const char* codec : {"-c:v ffv1", "-c:v mjpeg", "-c:v rawvideo", "-c:v huffyuv", "-c:v msmpeg4v3",
                            "-c:v cinepak", "-c:v flv"}) {
    const auto clip = clips.make("a.mkv", test_picture(2) + codec);
    EXPECT_FALSE(needs_hardware_decoder(*open_clip(clip), 0)) << codec;
  }
}

TEST_F(HardwareOnly, IsOneMessageBeforeAnythingIsConverted) {
  for (const int av1_stream : {0, 1}) {
    std::vector<MediaTrack> tracks(2, video_track());
    tracks[static_cast<std::size_t>(av1_stream)] = av1_video_track();
    const InputContextPtr input = movie(tracks);
    std::string error;
    capture_output();
    EXPECT_FALSE(StereoDecoder::create(*input, 0, 1, DecoderPreference::software, error));
    EXPECT_EQ(captured_output(), "  video stream " + std::to_string(av1_stream) +
                                     " is av1, which can be decoded by graphics hardware only\n");
    EXPECT_EQ(error, "no decoder is available for video stream " + std::to_string(av1_stream));
  }
}

TEST_F(HardwareOnly, IsToldWhenTheHardwareRefusesTheFirstPicture) {
  const InputContextPtr input = movie({av1_video_track()});
  const auto packets = read_packets(*input);
  SimulatedHardware machine;
  std::string error;
  capture_output();
  // A device is there, so the stream may be decoded.
  const auto eyes = StereoDecoder::create(*input, 0, 0, DecoderPreference::hardware, error, machine.calls);
  ASSERT_TRUE(eyes) << error;
  EXPECT_FALSE(eyes->queue_packet(*packets.front(), error));
  EXPECT_EQ(captured_output(),
            "  D3D11VA pixel format unavailable for stream 0; using software decode\n"
            "  video stream 0 is av1, which can be decoded by graphics hardware only\n");
  EXPECT_EQ(error, "could not submit a packet to the video decoder: Function not implemented");
}

}  // namespace
}  // namespace veyrin::test
