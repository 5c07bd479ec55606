// Which streams of a container are read.
#include <gtest/gtest.h>

#include <array>
#include <initializer_list>

#include "media/ffmpeg.h"
#include "media/recording_input.h"

namespace veyrin::test {
namespace {

InputContextPtr container_of(std::initializer_list<AVMediaType> types) {
  InputContextPtr input(avformat_alloc_context());
  for (const AVMediaType type : types) avformat_new_stream(input.get(), nullptr)->codecpar->codec_type = type;
  return input;
}

TEST(VideoTrackNumber, CountsVideoStreamsOnly) {
  const InputContextPtr input = container_of(
      {AVMEDIA_TYPE_AUDIO, AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_DATA, AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_VIDEO});
  EXPECT_EQ(stream_index_of_video_track(*input, 0), 1);
  EXPECT_EQ(stream_index_of_video_track(*input, 1), 3);
  EXPECT_EQ(stream_index_of_video_track(*input, 2), 4);
  EXPECT_EQ(stream_index_of_video_track(*input, 3), -1);
  EXPECT_EQ(stream_index_of_video_track(*input, -1), -1);
  EXPECT_EQ(stream_index_of_video_track(*container_of({}), 0), -1);
}

TEST(FirstAudioStream, IsFoundBehindOthers) {
  EXPECT_EQ(first_audio_stream(*container_of({AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO, AVMEDIA_TYPE_AUDIO})),
            1);
  EXPECT_EQ(first_audio_stream(*container_of({AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_DATA})), -1);
}

TEST(ReadOnlyStreams, KeepsTheNamedOnes) {
  const InputContextPtr input = container_of({AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_DATA, AVMEDIA_TYPE_AUDIO});
  read_only_streams(*input, std::array{1});
  EXPECT_EQ(input->streams[0]->discard, AVDISCARD_ALL);
  EXPECT_EQ(input->streams[1]->discard, AVDISCARD_DEFAULT);
  EXPECT_EQ(input->streams[2]->discard, AVDISCARD_ALL);
  read_only_streams(*input, std::array{0, 2});
  EXPECT_EQ(input->streams[0]->discard, AVDISCARD_DEFAULT);
  EXPECT_EQ(input->streams[1]->discard, AVDISCARD_ALL);
  EXPECT_EQ(input->streams[2]->discard, AVDISCARD_DEFAULT);
}

}  // namespace
}  // namespace veyrin::test
