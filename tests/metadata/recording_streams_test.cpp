#include "metadata/recording_streams.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "media/ffmpeg.h"

namespace veyrin::test {
namespace {

struct Stream {
  AVMediaType type;
  const char* handler_name = nullptr;
  std::uint32_t tag = 0;
};

constexpr std::uint32_t gpmd = MKTAG('g', 'p', 'm', 'd');

InputContextPtr container_of(std::initializer_list<Stream> streams) {
  InputContextPtr input(avformat_alloc_context());
  for (const Stream& wanted : streams) {
    AVStream* stream = avformat_new_stream(input.get(), nullptr);
    stream->codecpar->codec_type = wanted.type;
    stream->codecpar->codec_tag = wanted.tag;
    if (wanted.handler_name != nullptr)
      av_dict_set(&stream->metadata, "handler_name", wanted.handler_name, 0);
  }
  return input;
}

TEST(VideoTrackNumber, CountsVideoStreamsOnly) {
  const InputContextPtr input = container_of({{AVMEDIA_TYPE_AUDIO},
                                              {AVMEDIA_TYPE_VIDEO},
                                              {AVMEDIA_TYPE_DATA},
                                              {AVMEDIA_TYPE_VIDEO},
                                              {AVMEDIA_TYPE_VIDEO}});
  EXPECT_EQ(stream_index_of_video_track(*input, 0), 1);
  EXPECT_EQ(stream_index_of_video_track(*input, 1), 3);
  EXPECT_EQ(stream_index_of_video_track(*input, 2), 4);
  EXPECT_EQ(stream_index_of_video_track(*input, 3), -1);
  EXPECT_EQ(stream_index_of_video_track(*input, -1), -1);
  EXPECT_EQ(stream_index_of_video_track(*container_of({}), 0), -1);
}

TEST(MetadataStream, IsFoundByItsNameAnywhereInTheHandler) {
  const InputContextPtr input = container_of({{AVMEDIA_TYPE_VIDEO},
                                              {AVMEDIA_TYPE_DATA, "other"},
                                              {AVMEDIA_TYPE_DATA, "the Kaleth Timed Metadata track"},
                                              {AVMEDIA_TYPE_DATA, "Kaleth Timed Metadata"}});
  EXPECT_EQ(find_metadata_stream(*input), 2);
}

TEST(MetadataStream, IsTheNamedOneEvenBehindTaggedOnes) {
  const InputContextPtr input = container_of({{AVMEDIA_TYPE_DATA, "GoPro MET", gpmd},
                                              {AVMEDIA_TYPE_DATA, nullptr, gpmd},
                                              {AVMEDIA_TYPE_DATA, "Kaleth Timed Metadata"}});
  EXPECT_EQ(find_metadata_stream(*input), 2);
}

TEST(MetadataStream, IsTheFirstTaggedOneWithoutAName) {
  const InputContextPtr input =
      container_of({{AVMEDIA_TYPE_DATA, "kaleth timed metadata", MKTAG('m', 'e', 't', 't')},
                    {AVMEDIA_TYPE_DATA, nullptr, gpmd},
                    {AVMEDIA_TYPE_DATA, nullptr, gpmd}});
  EXPECT_EQ(find_metadata_stream(*input), 1);
}

TEST(MetadataStream, IsADataStreamOnly) {
  const InputContextPtr input = container_of({{AVMEDIA_TYPE_VIDEO, "Kaleth Timed Metadata", gpmd},
                                              {AVMEDIA_TYPE_SUBTITLE, "Kaleth Timed Metadata", gpmd},
                                              {AVMEDIA_TYPE_UNKNOWN, nullptr, gpmd}});
  EXPECT_EQ(find_metadata_stream(*input), -1);
  EXPECT_EQ(find_metadata_stream(*container_of({})), -1);
}

TEST(DiscardOtherStreams, KeepsTheOneStream) {
  const InputContextPtr input =
      container_of({{AVMEDIA_TYPE_VIDEO}, {AVMEDIA_TYPE_DATA}, {AVMEDIA_TYPE_AUDIO}});
  discard_other_streams(*input, 1);
  EXPECT_EQ(input->streams[0]->discard, AVDISCARD_ALL);
  EXPECT_EQ(input->streams[1]->discard, AVDISCARD_DEFAULT);
  EXPECT_EQ(input->streams[2]->discard, AVDISCARD_ALL);
}

}  // namespace
}  // namespace veyrin::test
