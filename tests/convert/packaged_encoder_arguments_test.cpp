#include "convert/packaged_encoder_arguments.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace veyrin::test {
namespace {

std::string joined(const std::vector<std::string>& arguments) {
  std::string text;
  for (const std::string& argument : arguments) text += (text.empty() ? "" : "|") + argument;
  return text;
}

SoftwareEncodeRequest plain_request() {
  SoftwareEncodeRequest request;
  request.input = "/recordings/in.mp4";
  request.output = "/movies/out.mp4";
  request.size = {1280, 480};
  request.frame_rate = {30, 1};
  request.bit_rate = 55000000;
  return request;
}

// The text behind an option in the argument list.
std::string value_of(const SoftwareEncodeRequest& request, const std::string& option) {
  const auto arguments = packaged_encode_arguments(request);
  const auto found = std::find(arguments.begin(), arguments.end(), option);
  return found == arguments.end() || found + 1 == arguments.end() ? "(absent)" : *(found + 1);
}

TEST(PackagedProbeArguments, AskForOnePictureInTheDepth) {
  EXPECT_EQ(joined(packaged_probe_arguments(BitDepth::eight)),
            "-hide_banner|-loglevel|error|-f|lavfi|-i|color=size=64x64:rate=1|-frames:v|1|-c:v|libx265|"
            "-pix_fmt|yuv420p|-f|null|-");
  EXPECT_EQ(joined(packaged_probe_arguments(BitDepth::ten)),
            "-hide_banner|-loglevel|error|-f|lavfi|-i|color=size=64x64:rate=1|-frames:v|1|-c:v|libx265|"
            "-pix_fmt|yuv420p10le|-f|null|-");
}

TEST(PackagedEncodeArguments, SilentEightBitRecording) {
  EXPECT_EQ(
      joined(packaged_encode_arguments(plain_request())),
      "-hide_banner|-loglevel|warning|-f|rawvideo|-pixel_format|yuv420p|-video_size|1280x480|-framerate|30/1|"
      "-i|pipe:0|-map|0:v:0|-c:v|libx265|-profile:v|main|-preset|faster|-pix_fmt|yuv420p|-b:v|55000000|"
      "-tag:v|hvc1|-color_primaries|bt709|-color_trc|bt709|-colorspace|bt709|-color_range|tv|-x265-params|"
      "high-tier=0:colorprim=bt709:transfer=bt709:colormatrix=bt709:range=limited|-movflags|+faststart|-n|"
      "/movies/out.mp4");
}

TEST(PackagedEncodeArguments, TrimmedTenBitRecordingWithAudio) {
  SoftwareEncodeRequest request = plain_request();
  request.input = "/my recordings/in.mov";
  request.frame_rate = {30000, 1001};
  request.range.start = 1.5;
  request.range.duration = 0.25;
  request.colors.primaries = AVCOL_PRI_BT2020;
  request.colors.transfer = AVCOL_TRC_ARIB_STD_B67;
  request.colors.matrix = AVCOL_SPC_BT2020_NCL;
  request.colors.range = AVCOL_RANGE_JPEG;
  request.has_audio = request.overwrite = true;
  request.depth = BitDepth::ten;
  EXPECT_EQ(
      joined(packaged_encode_arguments(request)),
      "-hide_banner|-loglevel|warning|-f|rawvideo|-pixel_format|p010le|-video_size|1280x480|-framerate|"
      "30000/1001|-i|pipe:0|-ss|1.500000|-i|/my recordings/in.mov|-map|0:v:0|-map|1:a:0?|-c:v|libx265|"
      "-profile:v|main10|-preset|faster|-pix_fmt|yuv420p10le|-b:v|55000000|-tag:v|hvc1|-color_primaries|"
      "bt2020|-color_trc|arib-std-b67|-colorspace|bt2020nc|-color_range|pc|-x265-params|"
      "high-tier=0:colorprim=bt2020:transfer=arib-std-b67:colormatrix=bt2020nc:range=full|-c:a|copy|-t|"
      "0.250000|-movflags|+faststart|-y|/movies/out.mp4");
}

TEST(PackagedEncodeArguments, AudioFromTheBeginningIsNotSought) {
  SoftwareEncodeRequest request = plain_request();
  request.has_audio = true;
  EXPECT_EQ(value_of(request, "-ss"), "(absent)");
  request.range.start = 0.000001;
  EXPECT_EQ(value_of(request, "-ss"), "0.000001");
}

TEST(PackagedEncodeArguments, WithoutAudioTheStartIsNotMentioned) {
  SoftwareEncodeRequest request = plain_request();
  request.range.start = 2.0;
  EXPECT_EQ(value_of(request, "-ss"), "(absent)");
  EXPECT_EQ(value_of(request, "-c:a"), "(absent)");
}

TEST(PackagedEncodeArguments, SecondsHaveSixDigitsInEveryRange) {
  SoftwareEncodeRequest request = plain_request();
  struct SecondsCase {
    double seconds;
    const char* text;
  };
  constexpr SecondsCase cases[] = {{10.0, "10.000000"},     {1.0 / 3.0, "0.333333"},
                                   {2.0 / 3.0, "0.666667"}, {86400.5, "86400.500000"},
                                   {1e-6, "0.000001"},      {1e12, "1000000000000.000000"}};
  for (const SecondsCase& item : cases) {
    request.range.duration = item.seconds;
    EXPECT_EQ(value_of(request, "-t"), item.text);
  }
  request.has_audio = true;
  request.range.start = 1e-9;
  EXPECT_EQ(value_of(request, "-ss"), "0.000000");
  request.range.start = 1.7976931348623157e308;
  EXPECT_EQ(value_of(request, "-ss").size(), 309U + 7U);
}

TEST(PackagedEncodeArguments, DurationsStayWithinWhatTheProgramTakes) {
  SoftwareEncodeRequest request = plain_request();
  for (const double seconds : {4e-7, 1e-9, 1e-300}) {
    request.range.duration = seconds;
    EXPECT_EQ(value_of(request, "-t"), "0.000001") << seconds << ": 0 would leave out the video track";
  }
  for (const double seconds : {9.3e12, 1e15, 1.7976931348623157e308}) {
    request.range.duration = seconds;
    EXPECT_EQ(value_of(request, "-t"), "9000000000000.000000") << seconds;
  }
}

TEST(PackagedEncodeArguments, EveryOtherColorIsNamedAfterTheWideGamut) {
  SoftwareEncodeRequest request = plain_request();
  request.colors.primaries = AVCOL_PRI_SMPTE170M;
  EXPECT_EQ(value_of(request, "-color_primaries"), "bt2020");
  EXPECT_EQ(value_of(request, "-color_trc"), "bt709");
  request.colors.transfer = AVCOL_TRC_SMPTE2084;
  EXPECT_EQ(value_of(request, "-color_trc"), "arib-std-b67");
  request.colors.matrix = AVCOL_SPC_BT470BG;
  EXPECT_EQ(value_of(request, "-colorspace"), "bt2020nc");
  request.colors.range = AVCOL_RANGE_UNSPECIFIED;
  EXPECT_EQ(value_of(request, "-color_range"), "tv");
  EXPECT_EQ(value_of(request, "-x265-params"),
            "high-tier=0:colorprim=bt2020:transfer=arib-std-b67:colormatrix=bt2020nc:range=limited");
}

}  // namespace
}  // namespace veyrin::test
