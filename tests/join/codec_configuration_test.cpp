#include "join/codec_configuration.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "media/ffmpeg.h"

namespace veyrin::test {
namespace {

std::string parameter_sets(AVCodecID codec, const std::string& record) {
  const CodecParametersPtr stream(avcodec_parameters_alloc());
  stream->codec_id = codec;
  stream->extradata = static_cast<std::uint8_t*>(av_mallocz(record.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  std::memcpy(stream->extradata, record.data(), record.size());
  stream->extradata_size = static_cast<int>(record.size());
  return parameter_sets_of(*stream);
}

/// An array of one unit.
std::string array(int type, const std::string& unit) {
  const std::string head{static_cast<char>(0x80 | type), 0, 1, 0};
  return head + static_cast<char>(unit.size()) + unit;
}

const std::string header = "\x01" + std::string(21, 'h');

TEST(CodecConfiguration, MessagesOfHevcDoNotCount) {
  const std::string sets = array(32, "video") + array(33, "sequence") + array(34, "picture");
  const std::string one = header + "\x05" + array(39, "made here") + sets + array(40, "suffix");
  const std::string other = header + "\x04" + sets + array(39, "made on another machine");
  EXPECT_EQ(parameter_sets(AV_CODEC_ID_HEVC, one), header + sets);
  EXPECT_EQ(parameter_sets(AV_CODEC_ID_HEVC, other), header + sets);
}

TEST(CodecConfiguration, OtherParameterSetsCount) {
  const std::string one = header + "\x02" + array(33, "sequence") + array(39, "message");
  const std::string other = header + "\x02" + array(33, "Sequence") + array(39, "message");
  EXPECT_NE(parameter_sets(AV_CODEC_ID_HEVC, one), parameter_sets(AV_CODEC_ID_HEVC, other));
}

TEST(CodecConfiguration, WhatIsNoRecordStaysAsItIs) {
  const std::string record = header + "\x02" + array(39, "message") + array(33, "cut off");
  for (const std::string& text :
       {std::string("\0\0\0\1start codes", 15), header, record.substr(0, record.size() - 2)})
    EXPECT_EQ(parameter_sets(AV_CODEC_ID_HEVC, text), text);
  EXPECT_EQ(parameter_sets(AV_CODEC_ID_H264, record), record);
}

}  // namespace
}  // namespace veyrin::test
