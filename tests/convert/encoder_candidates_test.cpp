#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "convert/encoder_selection.h"

namespace veyrin::test {
namespace {

using testing::ElementsAre;

std::vector<std::string> candidates(SbsCodec codec) {
  std::vector<std::string> names;
  for (const EncoderCandidate& candidate : encoder_candidates(codec)) names.emplace_back(candidate.name);
  return names;
}

/// The candidate of that name, of whatever codec.
EncoderCandidate candidate(const std::string& name) {
  for (const SbsCodec codec : {SbsCodec::h264, SbsCodec::hevc, SbsCodec::prores}) {
    for (const EncoderCandidate& row : encoder_candidates(codec))
      if (row.name == name) return row;
  }
  ADD_FAILURE() << "no candidate " << name;
  return {};
}

std::optional<std::string> skip_reason(const std::string& name, SbsCodec codec, bool force_software_hevc) {
  return reason_to_skip(candidate(name), {.codec = codec}, force_software_hevc);
}

TEST(EncoderCandidates, AreTriedInTheFixedOrder) {
  EXPECT_THAT(candidates(SbsCodec::h264), ElementsAre("h264_nvenc", "h264_mf"));
  EXPECT_THAT(candidates(SbsCodec::hevc), ElementsAre("hevc_nvenc", "hevc_qsv", "hevc_amf", "hevc_mf"));
  EXPECT_THAT(candidates(SbsCodec::prores), ElementsAre("prores_ks"));
}

constexpr const char* skipped = "skipped for software encoding";

TEST(EncoderCandidates, SoftwareSkipsAllButProRes) {
  for (const SbsCodec codec : {SbsCodec::h264, SbsCodec::hevc, SbsCodec::prores}) {
    const EncoderRequest request{.codec = codec, .software = true};
    for (const EncoderCandidate& row : encoder_candidates(codec)) {
      const auto expected = codec == SbsCodec::prores
                                ? std::nullopt
                                : std::optional<std::string>("skipped for software encoding");
      EXPECT_EQ(reason_to_skip(row, request, /*force_software_hevc=*/false), expected) << row.name;
    }
  }
}

TEST(EncoderCandidates, TheEnvironmentForcesSoftwareForHevcOnly) {
  EXPECT_EQ(skip_reason("hevc_nvenc", SbsCodec::hevc, /*force_software_hevc=*/true), skipped);
  EXPECT_EQ(skip_reason("h264_nvenc", SbsCodec::h264, /*force_software_hevc=*/true), std::nullopt);
  EXPECT_EQ(skip_reason("prores_ks", SbsCodec::prores, /*force_software_hevc=*/true), std::nullopt);
}

TEST(EncoderCandidates, NothingIsSkippedUnasked) {
  EXPECT_EQ(reason_to_skip(candidate("hevc_nvenc"), {.codec = SbsCodec::hevc, .depth = BitDepth::ten},
                           /*force_software_hevc=*/false),
            std::nullopt);
}

TEST(EncoderCandidates, MediaFoundationIsNeverOpenedForTenBitHevc) {
  constexpr const char* reason = "does not support 10-bit HEVC output";
  EXPECT_EQ(reason_not_to_open(candidate("hevc_mf"), {.codec = SbsCodec::hevc, .depth = BitDepth::ten}),
            reason);
  EXPECT_EQ(reason_not_to_open(candidate("hevc_mf"), {.codec = SbsCodec::hevc, .depth = BitDepth::eight}),
            std::nullopt);
  EXPECT_EQ(reason_not_to_open(candidate("hevc_amf"), {.codec = SbsCodec::hevc, .depth = BitDepth::ten}),
            std::nullopt);
  EXPECT_EQ(reason_not_to_open(candidate("h264_mf"), {.codec = SbsCodec::h264, .depth = BitDepth::ten}),
            std::nullopt);
}

TEST(EncoderCandidates, SayWhatKindsTheyAre) {
  EXPECT_TRUE(candidate("hevc_mf").media_foundation);
  EXPECT_TRUE(candidate("h264_mf").media_foundation);
  EXPECT_FALSE(candidate("hevc_amf").media_foundation);
  EXPECT_EQ(candidate("prores_ks").acceleration, Acceleration::software);
  EXPECT_EQ(candidate("hevc_mf").acceleration, Acceleration::hardware);
  for (const char* name : {"hevc_nvenc", "h264_nvenc"})
    EXPECT_TRUE(candidate(name).takes_gpu_surfaces) << name;
  for (const char* name : {"hevc_qsv", "hevc_amf", "hevc_mf", "h264_mf", "prores_ks"})
    EXPECT_FALSE(candidate(name).takes_gpu_surfaces) << name;
}

}  // namespace
}  // namespace veyrin::test
