// Which stream of a container holds the timed metadata.
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>

#include "media/ffmpeg.h"
#include "metadata/recording_metadata.h"

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

}  // namespace
}  // namespace veyrin::test
