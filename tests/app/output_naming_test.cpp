#include "app/output_naming.h"

#include <gtest/gtest.h>

#include "tests/app/parsed_arguments.h"

namespace veyrin::test {
namespace {

struct StemCase {
  const char* file_name;
  const char* stem;
};

TEST(FileStem, DropsTheLastExtensionOnly) {
  for (const StemCase& c : {
           StemCase{"clip01.mov", "clip01"},
           StemCase{"clip01", "clip01"},
           StemCase{"a.b.mov", "a.b"},
           StemCase{"clip.mp4.partial", "clip.mp4"},
           StemCase{"trailing.", "trailing"},
           StemCase{"a..mov", "a."},
           StemCase{"with space.mp4", "with space"},
           StemCase{"\xc3\xa9t\xc3\xa9.mov", "\xc3\xa9t\xc3\xa9"},
           StemCase{"", ""},
       }) {
    EXPECT_EQ(file_stem(c.file_name), c.stem) << c.file_name;
  }
}

TEST(FileStem, KeepsLeadingDotsAndDotNames) {
  for (const StemCase& c : {
           StemCase{".hidden", ".hidden"},
           StemCase{".hidden.mov", ".hidden"},
           StemCase{".", "."},
           StemCase{"..", ".."},
           StemCase{"...", ".."},
           StemCase{"..a", "."},
       }) {
    EXPECT_EQ(file_stem(c.file_name), c.stem) << c.file_name;
  }
}

TEST(FileStem, EndsTheNameAtAColon) {
  for (const StemCase& c : {
           StemCase{"clip.mov:stream", "clip"},
           StemCase{"a:b.mov", "a"},
           StemCase{"a.b:c.mov", "a"},
           StemCase{"a.b.c:d:e.mov", "a.b"},
           StemCase{".hidden:x", ".hidden"},
           StemCase{"..:x", ".."},
           StemCase{":x.mov", ""},
           StemCase{"clip:", "clip"},
       }) {
    EXPECT_EQ(file_stem(c.file_name), c.stem) << c.file_name;
  }
}

// Without colons, the standard library's own rule is the reference.
TEST(FileStem, AgreesWithTheStandardLibraryOnOrdinaryNames) {
  for (const char* name : {"clip01.mov", "clip01", "a.b.mov", "trailing.", ".hidden", ".hidden.mov", ".",
                           "..", "..a", "a..b", "x.y.z.w"}) {
    EXPECT_EQ(file_stem(name), std::filesystem::path(name).stem().string()) << name;
  }
}

struct NameCase {
  std::vector<std::string> arguments;
  bool is_hdr;
  const char* path;
};

class DerivedPath : public testing::TestWithParam<NameCase> {};

TEST_P(DerivedPath, FollowsTheOptions) {
  const ParsedArguments parsed = parse_arguments(GetParam().arguments);
  ASSERT_TRUE(parsed.accepted) << parsed.error;
  EXPECT_EQ(output_path("/rec/clip01.mov", parsed.options, GetParam().is_hdr),
            std::filesystem::path(GetParam().path));
}

INSTANTIATE_TEST_SUITE_P(
    SideBySide, DerivedPath,
    testing::Values(NameCase{{}, false, "converted/spatial_video/clip01_FULL_SBS_LR.mp4"},
                    NameCase{{}, true, "converted/spatial_video/clip01_FULL_SBS_LR.mp4"},
                    NameCase{{"--sbs-mode", "half", "--sbs-codec", "prores"},
                             false,
                             "converted/spatial_video/clip01_HALF_SBS_LR.mov"},
                    NameCase{
                        {"--sbs-codec", "h264"}, false, "converted/spatial_video/clip01_FULL_SBS_LR.mp4"},
                    NameCase{{"--sbs-aspect-ratio-padding", "16x9"},
                             false,
                             "converted/spatial_video/clip01_pad16x9_FULL_SBS_LR.mp4"},
                    NameCase{{"--sbs-aspect-ratio-padding", "4x3", "--sbs-mode", "half"},
                             false,
                             "converted/spatial_video/clip01_pad4x3_HALF_SBS_LR.mp4"}));

INSTANTIATE_TEST_SUITE_P(
    Mono, DerivedPath,
    testing::Values(
        NameCase{{"--output-format", "mono"}, false, "converted/spatial_video/clip01_MONO_RIGHT.mp4"},
        NameCase{{"--output-format", "mono", "--mono-eye", "right", "--sbs-mode", "half"},
                 false,
                 "converted/spatial_video/clip01_MONO_RIGHT.mp4"},
        NameCase{{"--output-format", "mono", "--mono-eye", "left", "--sbs-aspect-ratio-padding", "4x3"},
                 false,
                 "converted/spatial_video/clip01_pad4x3_MONO_LEFT.mp4"},
        NameCase{{"--output-format", "mono", "--sbs-codec", "prores", "--sbs-aspect-ratio-padding", "16x9"},
                 true,
                 "converted/spatial_video/clip01_pad16x9_MONO_RIGHT.mov"}));

INSTANTIATE_TEST_SUITE_P(
    Spatial, DerivedPath,
    testing::Values(NameCase{{"--output-format", "spatial"},
                             true,
                             "converted/spatial_video/clip01_FULL_SBS_LR_mv_hevc_spatial_hdr.mov"},
                    NameCase{{"--output-format", "spatial", "--sbs-mode", "half"},
                             false,
                             "converted/spatial_video/clip01_HALF_SBS_LR_mv_hevc_spatial_sdr.mov"},
                    NameCase{{"--output-format", "spatial", "--sbs-aspect-ratio-padding", "16x9",
                              "--sbs-codec", "h264"},
                             false,
                             "converted/spatial_video/clip01_pad16x9_FULL_SBS_LR_mv_hevc_spatial_sdr.mov"}));

INSTANTIATE_TEST_SUITE_P(
    ChosenPlaces, DerivedPath,
    testing::Values(NameCase{{"--output", "out/x.mkv", "in.mov"}, false, "out/x.mkv"},
                    NameCase{{"--output", "x", "in.mov", "--output-root", "root"}, false, "x"},
                    NameCase{{"--output", "x.txt", "in.mov", "--output-format", "spatial"}, true, "x.txt"},
                    NameCase{{"--output-root", "/deep/root"}, false, "/deep/root/clip01_FULL_SBS_LR.mp4"},
                    NameCase{{"--output-root", "root/"}, false, "root/clip01_FULL_SBS_LR.mp4"},
                    NameCase{{"--output-root", ""}, false, "clip01_FULL_SBS_LR.mp4"}));

TEST(DerivedPath, TakesTheFileNameOfTheInputOnly) {
  const ConversionOptions options;
  const std::filesystem::path root = "converted/spatial_video";
  EXPECT_EQ(output_path("a.dir/clip", options, false), root / "clip_FULL_SBS_LR.mp4");
  EXPECT_EQ(output_path("../a.b.mov", options, false), root / "a.b_FULL_SBS_LR.mp4");
  EXPECT_EQ(output_path("x/.hidden", options, false), root / ".hidden_FULL_SBS_LR.mp4");
  EXPECT_EQ(output_path("x/clip.mov:left", options, false), root / "clip_FULL_SBS_LR.mp4");
  EXPECT_EQ(output_path("folder/", options, false), root / "_FULL_SBS_LR.mp4");
}

// Bytes that are no valid UTF-8 pass unchanged: file names are not ours to correct.
TEST(DerivedPath, KeepsTheBytesOfTheName) {
  if (sizeof(std::filesystem::path::value_type) > 1)
    GTEST_SKIP() << "file names are not bytes on this system";
  EXPECT_EQ(output_path("\xff\xfe.mov", {}, false).string(),
            "converted/spatial_video/\xff\xfe_FULL_SBS_LR.mp4");
}

}  // namespace
}  // namespace veyrin::test
