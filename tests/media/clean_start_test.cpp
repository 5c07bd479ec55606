#include "media/clean_start.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace veyrin::test {
namespace {

using namespace std::string_literals;

const std::string h264_record = "\1\144\0\37\377\341\0\0\1\0\0"s;

/// An HEVC configuration record with lengths of four bytes and one set of picture parameters, which begin
/// with this byte.
std::string hevc_record(char picture_parameters) {
  return "\1"s + std::string(20, '\0') + "\3\1"s + "\242\0\1\0\4\104\1"s + picture_parameters + "\0"s;
}

// Both numbers 0, no dependent slices, and the mark in question.
constexpr char shows_all = '\300';
constexpr char may_hide = '\320';

CodecParametersPtr parameters(AVCodecID codec, const char* tag, const std::string& record) {
  CodecParametersPtr result(avcodec_parameters_alloc());
  result->codec_id = codec;
  result->codec_tag = MKTAG(tag[0], tag[1], tag[2], tag[3]);
  result->extradata = static_cast<std::uint8_t*>(av_mallocz(record.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  std::copy(record.begin(), record.end(), result->extradata);
  result->extradata_size = static_cast<int>(record.size());
  return result;
}

std::optional<CleanStarts> h264(const char* tag = "avc1") {
  return CleanStarts::create(*parameters(AV_CODEC_ID_H264, tag, h264_record));
}

std::optional<CleanStarts> hevc(const char* tag = "hvc1") {
  return CleanStarts::create(*parameters(AV_CODEC_ID_HEVC, tag, hevc_record(shows_all)));
}

std::string unit(const std::string& content) {
  return "\0\0\0"s + static_cast<char>(content.size()) + content;
}

std::string hevc_unit(int type, const std::string& content) {
  return unit(std::string(1, static_cast<char>(type << 1)) + "\1" + content);
}

/// Whether decoding may begin with the sample, which other bytes surround.
bool is_clean(const std::optional<CleanStarts>& starts, const std::string& sample) {
  std::istringstream file("xyz" + sample + "more");
  return starts && starts->at(file, 3, static_cast<int>(sample.size()));
}

// The first byte of an H.264 unit tells its type: "g" and "h" parameters of sequence and picture, "e" a slice
// of an IDR picture, "A" of another one.
const std::string h264_parameters = unit("gabc") + unit("hab");
const std::string hevc_slice = "\200slice";  // the first of its picture; earlier ones are still shown

TEST(CleanStart, OfH264IsAnIdrPicture) {
  const std::string access_unit = unit("\11\360"), message = unit("\6\6\1\204\200");
  EXPECT_TRUE(is_clean(h264(), unit("eslice")));
  EXPECT_TRUE(is_clean(h264(), access_unit + h264_parameters + message + unit("eslice") + unit("eb")));
  EXPECT_FALSE(is_clean(h264(), message + unit("Aslice"))) << "a recovery point";
  EXPECT_FALSE(is_clean(h264(), unit("Aslice") + unit("eslice")));
  EXPECT_FALSE(is_clean(h264(), message)) << "no picture";
}

TEST(CleanStart, OfHevcIsAnIdrOrACraPicture) {
  for (int type = 0; type < 48; ++type) {
    const bool clean = type >= 19 && type <= 21;
    EXPECT_EQ(is_clean(hevc(), hevc_unit(35, "P") + hevc_unit(type, hevc_slice)), clean) << type;
  }
  EXPECT_FALSE(is_clean(hevc(), hevc_unit(20, "\300slice"))) << "frames before it are not shown any more";
  EXPECT_FALSE(is_clean(hevc(), hevc_unit(20, "\100slice"))) << "not the picture's first slice";
}

TEST(CleanStart, RepeatsParametersThatMayHaveChanged) {
  EXPECT_FALSE(is_clean(h264("avc3"), unit("eslice")));
  EXPECT_TRUE(is_clean(h264("avc3"), h264_parameters + unit("eslice")));
  EXPECT_FALSE(is_clean(h264("avc3"), unit("hab") + unit("eslice")));
  const std::string sequence = hevc_unit(33, "abc"), picture = hevc_unit(34, "\300a"),
                    slice = hevc_unit(19, hevc_slice);
  EXPECT_FALSE(is_clean(hevc("hev1"), slice));
  EXPECT_FALSE(is_clean(hevc("hev1"), sequence + slice));
  EXPECT_TRUE(is_clean(hevc("hev1"), sequence + picture + slice));
}

TEST(CleanStart, IsNoneWherePicturesMayBeHidden) {
  EXPECT_FALSE(CleanStarts::create(*parameters(AV_CODEC_ID_HEVC, "hvc1", hevc_record(may_hide))));
  // Numbers 1 and 2, so that the mark stands elsewhere.
  EXPECT_TRUE(CleanStarts::create(*parameters(AV_CODEC_ID_HEVC, "hvc1", hevc_record('\114'))));
  EXPECT_FALSE(CleanStarts::create(*parameters(AV_CODEC_ID_HEVC, "hvc1", hevc_record('\115'))));
  EXPECT_FALSE(is_clean(hevc(), hevc_unit(34, "\320a") + hevc_unit(19, hevc_slice)));
}

TEST(CleanStart, IsUnknownInOtherFormats) {
  ASSERT_TRUE(h264() && hevc());
  EXPECT_FALSE(h264("mp4v") || h264("hvc1"));
  EXPECT_FALSE(hevc("avc1") || hevc("dvhe"));
  EXPECT_FALSE(CleanStarts::create(*parameters(AV_CODEC_ID_MPEG4, "avc1", h264_record)));
  EXPECT_FALSE(CleanStarts::create(*parameters(AV_CODEC_ID_H264, "avc1", "")));
  EXPECT_FALSE(CleanStarts::create(*parameters(AV_CODEC_ID_H264, "avc1", "\0\0\0\1\147"s)));
  const std::string record = hevc_record(shows_all);
  for (std::size_t size = 0; size + 2 < record.size(); ++size)
    EXPECT_FALSE(CleanStarts::create(*parameters(AV_CODEC_ID_HEVC, "hvc1", record.substr(0, size)))) << size;
}

TEST(CleanStart, DamagedSamplesAreNone) {
  const std::string sample = unit("\11\360") + unit("eslice");
  ASSERT_TRUE(is_clean(h264(), sample));
  for (std::size_t size = 0; size < sample.size(); ++size)
    EXPECT_FALSE(is_clean(h264(), sample.substr(0, size))) << size;
  EXPECT_FALSE(is_clean(h264(), unit("") + sample));
  EXPECT_FALSE(is_clean(h264(), std::string(20, '\377')));
  std::istringstream file(sample);
  EXPECT_FALSE(h264()->at(file, 100, 20));
}

}  // namespace
}  // namespace veyrin::test
