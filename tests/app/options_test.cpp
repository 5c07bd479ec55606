#include "app/options.h"

#include <gtest/gtest.h>

#include <functional>

#include "app/option_table.h"
#include "tests/app/parsed_arguments.h"

namespace veyrin::test {
namespace {

TEST(ParseCommandLine, LeavesTheDefaultsWithoutArguments) {
  const ParsedArguments parsed = parse_arguments({});
  const ConversionOptions& options = parsed.options;
  ASSERT_TRUE(parsed.accepted) << parsed.error;
  EXPECT_TRUE(options.inputs.empty());
  EXPECT_EQ(options.output_root, std::filesystem::path("converted/spatial_video"));
  EXPECT_FALSE(options.output || options.eye_width || options.eye_height || options.input_width ||
               options.input_height || options.input_bit_depth || options.output_fps || options.duration ||
               options.mono_eye);
  EXPECT_EQ(options.start, 0.0);
  EXPECT_EQ(options.sdr_bitrate, "55M");
  EXPECT_EQ(options.hdr_bitrate, "90M");
  EXPECT_EQ(options.sbs_codec, SbsCodec::hevc);
  EXPECT_EQ(options.sbs_mode, SbsMode::full);
  EXPECT_EQ(options.sbs_aspect_ratio_padding, AspectPadding::none);
  EXPECT_EQ(options.sbs_spatial_metadata, SpatialMetadataKind::st3d);
  EXPECT_EQ(options.output_format, OutputFormat::sbs);
  EXPECT_EQ(options.thumbnail_width, 960);
  EXPECT_FALSE(options.thumbnail || options.inspect || options.overwrite || options.software ||
               options.dry_run || options.check_support || options.help);
}

TEST(ConversionOptionsValues, KeepTheirNumbers) {
  EXPECT_EQ(static_cast<int>(OutputFormat::sbs), 0);
  EXPECT_EQ(static_cast<int>(OutputFormat::spatial), 1);
  EXPECT_EQ(static_cast<int>(OutputFormat::mono), 2);
  EXPECT_EQ(static_cast<int>(SbsCodec::h264), 0);
  EXPECT_EQ(static_cast<int>(SbsCodec::hevc), 1);
  EXPECT_EQ(static_cast<int>(SbsCodec::prores), 2);
  EXPECT_EQ(static_cast<int>(SbsMode::full), 0);
  EXPECT_EQ(static_cast<int>(SbsMode::half), 1);
  EXPECT_EQ(static_cast<int>(AspectPadding::none), 0);
  EXPECT_EQ(static_cast<int>(AspectPadding::ratio_4x3), 1);
  EXPECT_EQ(static_cast<int>(AspectPadding::ratio_16x9), 2);
  EXPECT_EQ(static_cast<int>(SpatialMetadataKind::st3d), 0);
  EXPECT_EQ(static_cast<int>(SpatialMetadataKind::sei), 1);
  EXPECT_EQ(static_cast<int>(SpatialMetadataKind::both), 2);
  EXPECT_EQ(static_cast<int>(MonoEye::left), 0);
  EXPECT_EQ(static_cast<int>(MonoEye::right), 1);
  EXPECT_EQ(static_cast<int>(ConversionKind::sbs), 0);
  EXPECT_EQ(static_cast<int>(ConversionKind::spatial), 1);
  EXPECT_EQ(static_cast<int>(ConversionKind::mono_left), 2);
  EXPECT_EQ(static_cast<int>(ConversionKind::mono_right), 3);
}

struct AcceptedCase {
  std::vector<std::string> arguments;
  std::function<bool(const ConversionOptions&)> expected;
};

class AcceptedArguments : public testing::TestWithParam<AcceptedCase> {};

TEST_P(AcceptedArguments, FillTheirField) {
  const ParsedArguments parsed = parse_arguments(GetParam().arguments);
  EXPECT_TRUE(parsed.accepted) << joined(GetParam().arguments) << ": " << parsed.error;
  EXPECT_TRUE(GetParam().expected(parsed.options)) << joined(GetParam().arguments);
  EXPECT_EQ(parsed.error, "");
}

using Options = ConversionOptions;
using Inputs = std::vector<std::string>;

INSTANTIATE_TEST_SUITE_P(
    Inputs, AcceptedArguments,
    testing::Values(AcceptedCase{{"b.mov", "a.mov"},
                                 [](const Options& o) {
                                   return o.inputs == Inputs{"b.mov", "a.mov"};
                                 }},
                    AcceptedCase{{""}, [](const Options& o) { return o.inputs == Inputs{""}; }},
                    AcceptedCase{{"a-b", "\xc3\xa9.mov"},
                                 [](const Options& o) {
                                   return o.inputs == Inputs{"a-b", "\xc3\xa9.mov"};
                                 }},
                    AcceptedCase{{"a.mov", "--software", "b.mov"},
                                 [](const Options& o) {
                                   return o.software && o.inputs == Inputs{"a.mov", "b.mov"};
                                 }},
                    AcceptedCase{{"a.mov", "check-support"},
                                 [](const Options& o) {
                                   return !o.check_support && o.inputs == Inputs{"a.mov", "check-support"};
                                 }},
                    AcceptedCase{{"check-support", "check-support"},
                                 [](const Options& o) {
                                   return o.check_support && o.inputs == Inputs{"check-support"};
                                 }},
                    AcceptedCase{{"Check-Support"}, [](const Options& o) {
                                   return !o.check_support && o.inputs == Inputs{"Check-Support"};
                                 }}));

INSTANTIATE_TEST_SUITE_P(
    Flags, AcceptedArguments,
    testing::Values(AcceptedCase{{"--help"}, [](const Options& o) { return o.help; }},
                    AcceptedCase{{"-h"}, [](const Options& o) { return o.help; }},
                    AcceptedCase{{"check-support", "x", "--help"},
                                 [](const Options& o) { return o.check_support && o.help; }},
                    AcceptedCase{{"--inspect"}, [](const Options& o) { return o.inspect; }},
                    AcceptedCase{{"--overwrite"}, [](const Options& o) { return o.overwrite; }},
                    AcceptedCase{{"--software"}, [](const Options& o) { return o.software; }},
                    AcceptedCase{{"--dry-run"}, [](const Options& o) { return o.dry_run; }},
                    AcceptedCase{{"--dry-run", "--inspect"},
                                 [](const Options& o) { return o.dry_run && o.inspect; }},
                    AcceptedCase{{"--thumbnail", "--output", "p.png", "a"},
                                 [](const Options& o) { return o.thumbnail; }}));

INSTANTIATE_TEST_SUITE_P(
    Texts, AcceptedArguments,
    testing::Values(
        AcceptedCase{{"--output-root", "out/deep"},
                     [](const Options& o) { return o.output_root == "out/deep"; }},
        AcceptedCase{{"--output-root", ""}, [](const Options& o) { return o.output_root.empty(); }},
        AcceptedCase{{"a", "--output", "x.mkv"},
                     [](const Options& o) { return o.output == std::filesystem::path("x.mkv"); }},
        AcceptedCase{{"a", "--output", "1", "--output", "2"},
                     [](const Options& o) { return o.output == std::filesystem::path("2"); }},
        AcceptedCase{{"a", "--output", "--overwrite"},
                     [](const Options& o) {
                       return !o.overwrite && o.output == std::filesystem::path("--overwrite");
                     }},
        AcceptedCase{{"--sdr-bitrate", "nonsense"},
                     [](const Options& o) { return o.sdr_bitrate == "nonsense"; }},
        AcceptedCase{{"--hdr-bitrate", ""}, [](const Options& o) { return o.hdr_bitrate.empty(); }},
        AcceptedCase{{"--hdr-bitrate", "10M", "--hdr-bitrate", "20M"},
                     [](const Options& o) { return o.hdr_bitrate == "20M" && o.sdr_bitrate == "55M"; }}));

INSTANTIATE_TEST_SUITE_P(
    Numbers, AcceptedArguments,
    testing::Values(
        AcceptedCase{{"--eye-width", "1920"}, [](const Options& o) { return o.eye_width == 1920; }},
        AcceptedCase{{"--eye-height", "1"}, [](const Options& o) { return o.eye_height == 1; }},
        AcceptedCase{{"--eye-width", "-5", "--eye-width", "8"},
                     [](const Options& o) { return o.eye_width == 8; }},
        AcceptedCase{{"--thumbnail-width", "1"}, [](const Options& o) { return o.thumbnail_width == 1; }},
        AcceptedCase{
            {"check-support", "--input-width", "10", "--input-height", "20", "--input-bit-depth", "8"},
            [](const Options& o) {
              return o.input_width == 10 && o.input_height == 20 && o.input_bit_depth == 8;
            }},
        AcceptedCase{
            {"check-support", "--input-width", "1", "--input-height", "1", "--input-bit-depth", "10"},
            [](const Options& o) { return o.input_bit_depth == 10; }},
        AcceptedCase{{"--output-fps", "29.97"}, [](const Options& o) { return o.output_fps == 29.97; }},
        AcceptedCase{{"--start", "  2.5"}, [](const Options& o) { return o.start == 2.5; }},
        AcceptedCase{{"--start", "-0"}, [](const Options& o) { return o.start == 0.0; }},
        AcceptedCase{{"--duration", "1e1"}, [](const Options& o) { return o.duration == 10.0; }}));

INSTANTIATE_TEST_SUITE_P(
    Keywords, AcceptedArguments,
    testing::Values(
        AcceptedCase{{"--output-format", "sbs"},
                     [](const Options& o) { return o.output_format == OutputFormat::sbs; }},
        AcceptedCase{{"--output-format", "spatial"},
                     [](const Options& o) { return o.output_format == OutputFormat::spatial; }},
        AcceptedCase{{"--output-format", "mono"},
                     [](const Options& o) { return o.output_format == OutputFormat::mono; }},
        AcceptedCase{{"--output-format", "mono", "--mono-eye", "left"},
                     [](const Options& o) { return o.mono_eye == MonoEye::left; }},
        AcceptedCase{{"--mono-eye", "right", "--output-format", "mono"},
                     [](const Options& o) { return o.mono_eye == MonoEye::right; }},
        AcceptedCase{{"--sbs-codec", "h264"}, [](const Options& o) { return o.sbs_codec == SbsCodec::h264; }},
        AcceptedCase{{"--sbs-codec", "hevc"}, [](const Options& o) { return o.sbs_codec == SbsCodec::hevc; }},
        AcceptedCase{{"--sbs-codec", "prores"},
                     [](const Options& o) { return o.sbs_codec == SbsCodec::prores; }},
        AcceptedCase{{"--sbs-mode", "full"}, [](const Options& o) { return o.sbs_mode == SbsMode::full; }},
        AcceptedCase{{"--sbs-mode", "half"}, [](const Options& o) { return o.sbs_mode == SbsMode::half; }},
        AcceptedCase{{"--sbs-aspect-ratio-padding", "none"},
                     [](const Options& o) { return o.sbs_aspect_ratio_padding == AspectPadding::none; }},
        AcceptedCase{{"--sbs-aspect-ratio-padding", "4x3"},
                     [](const Options& o) { return o.sbs_aspect_ratio_padding == AspectPadding::ratio_4x3; }},
        AcceptedCase{
            {"--sbs-aspect-ratio-padding", "16x9"},
            [](const Options& o) { return o.sbs_aspect_ratio_padding == AspectPadding::ratio_16x9; }},
        AcceptedCase{{"--sbs-spatial-metadata", "st3d", "--output-format", "mono"},
                     [](const Options& o) { return o.sbs_spatial_metadata == SpatialMetadataKind::st3d; }},
        AcceptedCase{{"--sbs-spatial-metadata", "sei", "--sbs-codec", "h264"},
                     [](const Options& o) { return o.sbs_spatial_metadata == SpatialMetadataKind::sei; }},
        AcceptedCase{{"--sbs-codec", "h264", "--sbs-spatial-metadata", "both"},
                     [](const Options& o) { return o.sbs_spatial_metadata == SpatialMetadataKind::both; }}));

struct RefusedCase {
  std::vector<std::string> arguments;
  std::string error;
};

class RefusedArguments : public testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedArguments, GiveExactlyOneMessage) {
  const ParsedArguments parsed = parse_arguments(GetParam().arguments);
  EXPECT_FALSE(parsed.accepted) << joined(GetParam().arguments);
  EXPECT_EQ(parsed.error, GetParam().error) << joined(GetParam().arguments);
}

INSTANTIATE_TEST_SUITE_P(
    UnknownOptions, RefusedArguments,
    testing::Values(RefusedCase{{"--bogus"}, "unknown option: --bogus"},
                    RefusedCase{{"--help", "--bogus"}, "unknown option: --bogus"},
                    RefusedCase{{"check-support", "--bogus"}, "unknown option: --bogus"},
                    RefusedCase{{"-"}, "unknown option: -"}, RefusedCase{{"--"}, "unknown option: --"},
                    RefusedCase{{"-H"}, "unknown option: -H"}, RefusedCase{{"-1"}, "unknown option: -1"},
                    RefusedCase{{"--HELP"}, "unknown option: --HELP"},
                    RefusedCase{{"--start=1"}, "unknown option: --start=1"},
                    RefusedCase{{"--check-support"}, "unknown option: --check-support"},
                    RefusedCase{{"--first", "--second"}, "unknown option: --first"},
                    // Arguments are read before any rule between options is tested.
                    RefusedCase{{"--eye-width", "0", "--bogus"}, "unknown option: --bogus"}));

INSTANTIATE_TEST_SUITE_P(
    Keywords, RefusedArguments,
    testing::Values(RefusedCase{{"--output-format", "SBS"}, "--output-format must be sbs, spatial, or mono"},
                    RefusedCase{{"--mono-eye", "both"}, "--mono-eye must be left or right"},
                    RefusedCase{{"--sbs-codec", "H264"}, "--sbs-codec must be h264, hevc, or prores"},
                    RefusedCase{{"--sbs-codec", "h265"}, "--sbs-codec must be h264, hevc, or prores"},
                    RefusedCase{{"--sbs-codec", ""}, "--sbs-codec must be h264, hevc, or prores"},
                    RefusedCase{{"--sbs-mode", " full"}, "--sbs-mode must be full or half"},
                    RefusedCase{{"--sbs-aspect-ratio-padding", "4:3"},
                                "--sbs-aspect-ratio-padding must be none, 4x3, or 16x9"},
                    RefusedCase{{"--sbs-spatial-metadata", "none"},
                                "--sbs-spatial-metadata must be st3d, sei, or both"}));

TEST(RefusedArguments, EveryOptionWithAValueAsksForIt) {
  int options_with_value = 0;
  for (const OptionRow& row : option_table()) {
    if (std::holds_alternative<OptionField<bool>>(row.target)) continue;
    ++options_with_value;
    const ParsedArguments parsed = parse_arguments({"a.mov", std::string(row.name)});
    EXPECT_FALSE(parsed.accepted) << row.name;
    EXPECT_EQ(parsed.error, std::string(row.name) + " requires a value");
  }
  EXPECT_EQ(options_with_value, 19);
}

TEST(RefusedArguments, EveryNumericOptionNamesItsBadValue) {
  for (const std::string option :
       {"--eye-width", "--eye-height", "--input-width", "--input-height", "--input-bit-depth",
        "--thumbnail-width", "--output-fps", "--start", "--duration"}) {
    for (const std::string value : {"", "abc", "5 ", "1s", "0x10", "99999999999999999999e999", "inf"}) {
      const ParsedArguments parsed = parse_arguments({option, value});
      EXPECT_FALSE(parsed.accepted) << option << " " << value;
      EXPECT_EQ(parsed.error, option + " has an invalid numeric value: " + value);
    }
  }
}

TEST(RefusedArguments, IntegersAndRealsDifferInWhatTheyRead) {
  EXPECT_EQ(parse_arguments({"--eye-width", "+5"}).error, "--eye-width has an invalid numeric value: +5");
  EXPECT_EQ(parse_arguments({"--eye-width", "2147483648"}).error,
            "--eye-width has an invalid numeric value: 2147483648");
  EXPECT_TRUE(parse_arguments({"--output-fps", "+5"}).accepted);
}

}  // namespace
}  // namespace veyrin::test
