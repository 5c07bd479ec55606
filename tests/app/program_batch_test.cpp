#include <gtest/gtest.h>

#include "tests/app/program_test.h"
#include "tests/recordings/recording.h"

namespace veyrin::test {
namespace {

using Arguments = std::vector<std::string>;

/// A recording of six frames, two eyes of 64x64.
class ProgramBatch : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    recordings = new TemporaryFolder;
    recordings::RecordingPlan plan;
    plan.width = plan.height = 64;
    plan.seconds = 0.2;
    plan.audio = false;
    plan.output = *recordings / "clip.mov";
    std::string error;
    ASSERT_TRUE(recordings::make_recording(plan, error)) << error;
    plan.codec = recordings::VideoCodec::hevc10;
    plan.swap_cameras = true;
    plan.output = *recordings / "hdr.mov";
    ASSERT_TRUE(recordings::make_recording(plan, error)) << error;
  }
  static void TearDownTestSuite() {
    delete recordings;
    recordings = nullptr;
  }

  static std::string recording(const std::string& name) { return (*recordings / name).string(); }
  [[nodiscard]] std::string in_folder(const std::string& name) const {
    return (folder_ / name).make_preferred().string();
  }

  /// The notice of the metadata reader and the report lines of one input.
  static std::string report(const std::string& name, int left, int right) {
    const std::string input = recording(name);
    return "[RecordingMetadata] Raw dual-track calibration loaded from " + input +
           " (native=64x64)\n\n"
           "Input: " +
           input +
           "\n"
           "  duration_seconds: 0.200000\n"
           "  metadata_stream: 2\n"
           "  left_video_stream: " +
           std::to_string(left) +
           "\n"
           "  right_video_stream: " +
           std::to_string(right) +
           "\n"
           "  native_size: 64x64\n"
           "  baseline_m: 0.064009\n"
           "  pose_available: true\n";
  }

  TemporaryFolder folder_;

 private:
  static TemporaryFolder* recordings;
};

TemporaryFolder* ProgramBatch::recordings = nullptr;

TEST_F(ProgramBatch, InspectPrintsTheReportOfEachInputAndNothingElse) {
  const Arguments arguments{"--inspect", recording("clip.mov"), recording("hdr.mov"), "--output-root",
                            in_folder("root")};
  const ProgramRun run = run_converter_program(arguments);
  EXPECT_EQ(run.status, 0) << described(arguments, run);
  EXPECT_EQ(run.output, report("clip.mov", 0, 1) + report("hdr.mov", 1, 0));
  EXPECT_EQ(run.errors, "");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "root"));
}

TEST_F(ProgramBatch, InspectStillWarnsOfH264First) {
  const ProgramRun run = run_converter_program(
      {"--inspect", "--sbs-codec", "h264", recording("clip.mov"), recording("clip.mov")});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "Warning: H.264 output is limited to 8-bit; 10-bit HDR support will be lost\n" +
                            report("clip.mov", 0, 1) + report("clip.mov", 0, 1));
}

TEST_F(ProgramBatch, ABatchThatFailsLaterKeepsItsEarlierReports) {
  const std::string missing = in_folder("missing.mov");
  const ProgramRun run =
      run_converter_program({"--inspect", recording("clip.mov"), missing, recording("hdr.mov")});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output, report("clip.mov", 0, 1) + "Error: could not open input: " + missing + "\n");
}

struct PlanCase {
  Arguments options;
  const char* size;
  const char* format;
};

TEST_F(ProgramBatch, DryRunBuildsTheMapsAndPrintsThePlan) {
  for (const PlanCase& c : {
           PlanCase{{}, "128x64", "sbs"},
           PlanCase{{"--inspect"}, "128x64", "sbs"},
           PlanCase{{"--sbs-mode", "half"}, "64x64", "sbs"},
           PlanCase{{"--eye-width", "80", "--sbs-aspect-ratio-padding", "4x3"}, "176x66", "sbs"},
           PlanCase{{"--eye-height", "90", "--output-format", "mono"}, "64x90", "mono"},
           PlanCase{
               {"--output-format", "spatial", "--sbs-aspect-ratio-padding", "16x9"}, "128x72", "spatial"},
       }) {
    Arguments arguments{"--dry-run", recording("clip.mov"), "--output-root", in_folder("root")};
    arguments.insert(arguments.end(), c.options.begin(), c.options.end());
    const ProgramRun run = run_converter_program(arguments);
    EXPECT_EQ(run.status, 0) << described(arguments, run);
    EXPECT_TRUE(run.output.starts_with(report("clip.mov", 0, 1) + "  rectification_valid_pixels: left "))
        << described(arguments, run);
    EXPECT_TRUE(run.output.ends_with("%\n\n  rectification_maps: valid\n  output_video_size: " +
                                     std::string(c.size) + "\n  output_format: " + c.format + "\n"))
        << described(arguments, run);
    EXPECT_EQ(run.errors, "");
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ / "root"));
}

TEST_F(ProgramBatch, DryRunFailsWithTheReasonOfTheMaps) {
  const ProgramRun run = run_converter_program(
      {"--dry-run", recording("clip.mov"), "--eye-width", "2147483647", "--eye-height", "2147483647"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output, report("clip.mov", 0, 1) +
                            "Error: rectified eye size is too large: "
                            "2147483647x2147483647 (at most 134217728 pixels)\n");
}

struct ConversionCase {
  Arguments options;
  const char* file_name;
  const char* output_line;
};

TEST_F(ProgramBatch, ConvertsUnderTheDerivedNameAndSaysWhere) {
  for (const ConversionCase& c : {
           ConversionCase{{}, "clip_FULL_SBS_LR.mov", "SBS output: "},
           ConversionCase{{"--output-format", "mono"}, "clip_MONO_RIGHT.mov", "Mono output: "},
           ConversionCase{
               {"--output-format", "mono", "--mono-eye", "left"}, "clip_MONO_LEFT.mov", "Mono output: "},
       }) {
    Arguments arguments{recording("clip.mov"), "--sbs-codec", "prores", "--output-root",
                        in_folder("deep/root")};
    arguments.insert(arguments.end(), c.options.begin(), c.options.end());
    const std::string output = in_folder("deep/root/" + std::string(c.file_name));
    const ProgramRun run = run_converter_program(arguments);
    EXPECT_EQ(run.status, 0) << described(arguments, run);
    EXPECT_TRUE(run.output.starts_with(report("clip.mov", 0, 1))) << described(arguments, run);
    EXPECT_TRUE(run.output.ends_with("  progress_percent: 100\n  encoded_frames: 6\n" +
                                     std::string(c.output_line) + output + "\n"))
        << described(arguments, run);
    EXPECT_GT(std::filesystem::file_size(output), 0U);

    const ProgramRun again = run_converter_program(arguments);
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.output.ends_with("\nError: output already exists (use --overwrite): " + output + "\n"))
        << described(arguments, again);
    arguments.push_back("--overwrite");
    EXPECT_EQ(run_converter_program(arguments).status, 0);
  }
}

TEST_F(ProgramBatch, AnExactOutputIsHonouredWhateverItsExtension) {
  const std::string output = in_folder("new/movie.mkv");
  const ProgramRun run =
      run_converter_program({recording("clip.mov"), "--sbs-codec", "prores", "--output", output});
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_TRUE(run.output.ends_with("SBS output: " + output + "\n")) << run.output;
  EXPECT_TRUE(std::filesystem::exists(output));
}

TEST_F(ProgramBatch, AnOutputFolderBelowAFileCannotBeMade) {
  std::ofstream(folder_ / "file") << "x";
  const std::string output = in_folder("file/movie.mov");
  const ProgramRun run =
      run_converter_program({recording("clip.mov"), "--sbs-codec", "prores", "--output", output});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.output.find("\nError: could not create output directory: "), std::string::npos) << run.output;
}

// Every way of naming the recording as its own output, for every product, with and without leave to
// overwrite.
TEST_F(ProgramBatch, ARecordingIsNeverReplacedByItsOwnConversion) {
  const std::string input = in_folder("clip.mov");
  std::filesystem::copy_file(recording("clip.mov"), input);
  std::filesystem::create_hard_link(input, folder_ / "hard.mov");
  std::vector<std::string> outputs{input, in_folder("./clip.mov"), in_folder("hard.mov")};
  std::error_code no_links;  // the standard library of Windows makes none
  std::filesystem::create_symlink(input, folder_ / "symbolic.mov", no_links);
  if (!no_links) outputs.push_back(in_folder("symbolic.mov"));
  const std::string before = file_text(input);
  for (const char* format : {"sbs", "mono", "spatial"}) {
    for (const std::string& output : outputs) {
      for (const bool overwrite : {false, true}) {
        Arguments arguments{input, "--output", output, "--output-format", format, "--sbs-codec", "prores"};
        if (overwrite) arguments.push_back("--overwrite");
        const ProgramRun run = run_converter_program(arguments);
        EXPECT_EQ(run.status, 1) << described(arguments, run);
        EXPECT_TRUE(run.output.ends_with("\nError: output would replace its own input: " + output + "\n"))
            << described(arguments, run);
      }
    }
  }
  EXPECT_EQ(file_text(input), before);
}

TEST_F(ProgramBatch, SpatialOutputHasItsOwnOverwriteMessage) {
  std::filesystem::create_directory(folder_ / "root");
  const std::string output = in_folder("root/hdr_FULL_SBS_LR_mv_hevc_spatial_hdr.mov");
  std::ofstream(output) << "precious";
  const ProgramRun run = run_converter_program(
      {recording("hdr.mov"), "--output-format", "spatial", "--output-root", in_folder("root")});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output,
            report("hdr.mov", 1, 0) + "Error: AVP output already exists (use --overwrite): " + output + "\n");
  EXPECT_EQ(file_text(output), "precious");
}

TEST_F(ProgramBatch, SpatialOutputThatCannotBeLookedAtIsRefused) {
  const std::string output = in_folder(std::string(300, 'n'));
  std::error_code refusal;
  static_cast<void>(std::filesystem::status(output, refusal));
  if (refusal != std::errc::filename_too_long) GTEST_SKIP() << "this system has no such refusal";
  const ProgramRun run =
      run_converter_program({recording("clip.mov"), "--output-format", "spatial", "--output", output});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output, report("clip.mov", 0, 1) + "Error: could not inspect AVP output path: " +
                            std::make_error_code(std::errc::filename_too_long).message() + "\n");
}

TEST_F(ProgramBatch, CheckSupportOfAFileIsOneLine) {
  const ProgramRun run =
      run_converter_program({"check-support", recording("clip.mov"), "--sbs-codec", "prores"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "{\"schemaVersion\":1,\"supported\":true,\"acceleration\":\"software\"}\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(ProgramBatch, AThumbnailIsWrittenAndNamedLast) {
  const std::string output = in_folder("new/preview.png");
  const Arguments arguments{"--thumbnail", recording("clip.mov"), "--output", output};
  ProgramRun run = run_converter_program(arguments);
  EXPECT_EQ(run.status, 0) << described(arguments, run);
  EXPECT_TRUE(run.output.ends_with("\nThumbnail output: " + output + "\n")) << described(arguments, run);
  EXPECT_EQ(run.errors, "");
  const std::string large = file_text(output);

  Arguments narrower = arguments;
  narrower.insert(narrower.end(), {"--thumbnail-width", "40", "--overwrite"});
  run = run_converter_program(narrower);
  EXPECT_EQ(run.status, 0) << described(narrower, run);
  // The width stands in bytes 16 to 19 of a PNG.
  EXPECT_EQ(large.substr(16, 8), std::string("\0\0\3\xc0\0\0\1\xe0", 8));
  EXPECT_EQ(file_text(output).substr(16, 8), std::string("\0\0\0\x28\0\0\0\x14", 8));
}

}  // namespace
}  // namespace veyrin::test
