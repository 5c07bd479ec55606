#include "convert/encoder_candidates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace veyrin::test {
namespace {

using testing::ElementsAre;

std::vector<std::string> candidates(SbsCodec codec) {
  const auto names = encoder_candidates(codec);
  return {names.begin(), names.end()};
}

TEST(EncoderCandidates, AreTriedInTheFixedOrder) {
  EXPECT_THAT(candidates(SbsCodec::h264), ElementsAre("h264_nvenc", "h264_mf"));
  EXPECT_THAT(candidates(SbsCodec::hevc), ElementsAre("hevc_nvenc", "hevc_qsv", "hevc_amf", "hevc_mf"));
  EXPECT_THAT(candidates(SbsCodec::prores), ElementsAre("prores_ks"));
}

constexpr const char* skipped = "skipped for software encoding";

TEST(EncoderCandidates, SoftwareSkipsAllButProRes) {
  for (const SbsCodec codec : {SbsCodec::h264, SbsCodec::hevc, SbsCodec::prores}) {
    const CandidateRules rules{.codec = codec, .software = true};
    for (const char* name : encoder_candidates(codec)) {
      const auto expected = codec == SbsCodec::prores
                                ? std::nullopt
                                : std::optional<std::string>("skipped for software encoding");
      EXPECT_EQ(reason_to_skip(name, rules), expected) << name;
    }
  }
}

TEST(EncoderCandidates, TheEnvironmentForcesSoftwareForHevcOnly) {
  EXPECT_EQ(reason_to_skip("hevc_nvenc", {.codec = SbsCodec::hevc, .force_software_hevc = true}), skipped);
  EXPECT_EQ(reason_to_skip("h264_nvenc", {.codec = SbsCodec::h264, .force_software_hevc = true}),
            std::nullopt);
  EXPECT_EQ(reason_to_skip("prores_ks", {.codec = SbsCodec::prores, .force_software_hevc = true}),
            std::nullopt);
}

TEST(EncoderCandidates, NothingIsSkippedUnasked) {
  EXPECT_EQ(reason_to_skip("hevc_nvenc", {.codec = SbsCodec::hevc, .ten_bit = true}), std::nullopt);
}

TEST(EncoderCandidates, MediaFoundationIsNeverOpenedForTenBitHevc) {
  constexpr const char* reason = "does not support 10-bit HEVC output";
  EXPECT_EQ(reason_not_to_open("hevc_mf", {.codec = SbsCodec::hevc, .ten_bit = true}), reason);
  EXPECT_EQ(reason_not_to_open("hevc_mf", {.codec = SbsCodec::hevc, .ten_bit = false}), std::nullopt);
  EXPECT_EQ(reason_not_to_open("hevc_amf", {.codec = SbsCodec::hevc, .ten_bit = true}), std::nullopt);
  EXPECT_EQ(reason_not_to_open("h264_mf", {.codec = SbsCodec::h264, .ten_bit = true}), std::nullopt);
}

TEST(EncoderCandidates, KnowsKindsByName) {
  EXPECT_TRUE(is_media_foundation("hevc_mf"));
  EXPECT_TRUE(is_media_foundation("h264_mf"));
  EXPECT_FALSE(is_media_foundation("hevc_amf"));
  EXPECT_TRUE(is_software_encoder("prores_ks"));
  EXPECT_FALSE(is_software_encoder("hevc_mf"));
}

TEST(AttemptsLog, StartsEmptyAndGivesEachAttemptALine) {
  AttemptsLog log;
  EXPECT_EQ(log.text(), "");
  log.add("h264_nvenc", "Unknown error occurred");
  log.add("h264_mf", "not included in this FFmpeg build");
  EXPECT_EQ(log.text(),
            "\n  h264_nvenc: Unknown error occurred"
            "\n  h264_mf: not included in this FFmpeg build");
}

}  // namespace
}  // namespace veyrin::test
