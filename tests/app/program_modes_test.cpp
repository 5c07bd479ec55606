#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/app/program_test.h"

namespace veyrin::test {
namespace {

using Arguments = std::vector<std::string>;
using std::filesystem::path;

const char* const h264_warning =
    "Warning: H.264 output is limited to 8-bit; 10-bit HDR support will be lost\n";

class ProgramModes : public testing::Test {
 protected:
  /// A file that is no recording.
  std::string make_file(const std::string& name) {
    std::ofstream(folder_ / name) << "not a movie";
    return (folder_ / name).string();
  }
  [[nodiscard]] std::string in_folder(const std::string& name) const { return (folder_ / name).string(); }
  [[nodiscard]] Arguments temporary_folder_is(const std::string& name) const {
    return {"TMPDIR=" + in_folder(name)};
  }

  TemporaryFolder folder_;
};

TEST_F(ProgramModes, ABatchEndsAtItsFirstFailingInput) {
  // Opening a pipe without a writer would wait for ever.
  const std::string never_opened = in_folder("pipe.mov");
  ASSERT_EQ(mkfifo(never_opened.c_str(), 0600), 0);
  for (const char* mode : {"--inspect", "--dry-run", "--overwrite"}) {
    const Arguments arguments{in_folder("missing.mov"), never_opened, mode};
    const ProgramRun run = run_converter_program(arguments);
    EXPECT_TRUE(is_failure(run, "could not open input: " + in_folder("missing.mov")))
        << described(arguments, run);
  }
}

TEST_F(ProgramModes, TheH264WarningComesOnceAndFirstInEveryBatchMode) {
  const std::string missing = in_folder("missing.mov");
  for (const Arguments& mode :
       {Arguments{}, Arguments{"--inspect"}, Arguments{"--dry-run"}, Arguments{"--output-format", "mono"},
        Arguments{"--output-format", "spatial"}}) {
    Arguments arguments{"--sbs-codec", "h264", missing, missing};
    arguments.insert(arguments.end(), mode.begin(), mode.end());
    const ProgramRun run = run_converter_program(arguments);
    EXPECT_EQ(run.status, 1) << described(arguments, run);
    EXPECT_EQ(run.output, h264_warning + ("Error: could not open input: " + missing + "\n"));
    EXPECT_EQ(run.errors, "");
  }
}

TEST_F(ProgramModes, FileNamesArePrintedByteForByte) {
  for (const char* name : {"\xc3\xa9t\xc3\xa9 \xe2\x82\xac.mov", "100%s%n.mov", "\xff\xfe.mov"}) {
    const ProgramRun run = run_converter_program({in_folder(name)});
    EXPECT_TRUE(is_failure(run, "could not open input: " + in_folder(name))) << run.output;
  }
}

TEST_F(ProgramModes, AnEmptyInputNameIsAnInput) {
  EXPECT_TRUE(is_failure(run_converter_program({""}), "could not open input: "));
}

TEST_F(ProgramModes, AFailedInputLeavesNoOutputFolder) {
  const ProgramRun run = run_converter_program({make_file("text.mov"), "--output-root", in_folder("root")});
  EXPECT_EQ(run.status, 1);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "root"));
}

TEST_F(ProgramModes, AThumbnailNeverReplacesAnOutputUnasked) {
  const std::string input = in_folder("missing.mov");
  std::filesystem::create_directory(folder_ / "folder.png");
  for (const std::string& output : {make_file("preview.png"), in_folder("folder.png")}) {
    const ProgramRun run = run_converter_program({"--thumbnail", input, "--output", output});
    EXPECT_TRUE(is_failure(run, "output already exists: " + output)) << run.output;
  }
  EXPECT_EQ(file_text(folder_ / "preview.png"), "not a movie");
}

TEST_F(ProgramModes, AThumbnailOfNothingFailsWithTheInputsPath) {
  const std::string input = in_folder("missing.mov");
  for (const Arguments& arguments :
       {Arguments{"--thumbnail", input, "--output", in_folder("new.png")},
        Arguments{"--thumbnail", input, "--output", make_file("old.png"), "--overwrite"}}) {
    const ProgramRun run = run_converter_program(arguments);
    EXPECT_EQ(run.status, 1) << described(arguments, run);
    EXPECT_TRUE(run.output.ends_with("Error: could not generate the thumbnail for " + input + "\n"))
        << described(arguments, run);
    EXPECT_EQ(run.errors, "");
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ / "new.png"));
  EXPECT_EQ(file_text(folder_ / "old.png"), "not a movie");
}

TEST_F(ProgramModes, AThumbnailNeverReplacesItsInput) {
  const std::string input = make_file("clip.mov");
  std::filesystem::create_symlink(input, folder_ / "symbolic.png");
  std::filesystem::create_hard_link(input, folder_ / "hard.png");
  for (const std::string& output :
       {input, in_folder("./clip.mov"), in_folder("symbolic.png"), in_folder("hard.png")}) {
    for (const bool overwrite : {false, true}) {
      Arguments arguments{"--thumbnail", input, "--output", output};
      if (overwrite) arguments.push_back("--overwrite");
      const ProgramRun run = run_converter_program(arguments);
      EXPECT_TRUE(is_failure(run, "output would replace its own input: " + output))
          << described(arguments, run);
    }
  }
  EXPECT_EQ(file_text(input), "not a movie");
}

TEST_F(ProgramModes, AFailedLookAtTheThumbnailIsReportedAsAnError) {
  const std::string output = in_folder(std::string(300, 'n'));
  for (const bool overwrite : {false, true}) {
    Arguments arguments{"--thumbnail", "missing.mov", "--output", output};
    if (overwrite) arguments.push_back("--overwrite");
    const ProgramRun run = run_converter_program(arguments);
    EXPECT_EQ(run.status, 1) << described(arguments, run);
    EXPECT_TRUE(run.output.starts_with("Error: ")) << run.output;
    EXPECT_NE(run.output.find("exists"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(std::make_error_code(std::errc::filename_too_long).message()),
              std::string::npos)
        << run.output;
  }
}

TEST_F(ProgramModes, CheckSupportAnswersNoForAnUnreadableInput) {
  const ProgramRun run = run_converter_program({"check-support", in_folder("missing.mov")});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, R"({"schemaVersion":1,"supported":false,"acceleration":"none",)"
                        R"("reason":"could not open input: )" +
                            in_folder("missing.mov") + "\"}\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(ProgramModes, CheckSupportEscapesItsReason) {
  const ProgramRun run = run_converter_program({"check-support", in_folder("a \"b\"\tc\\d\ne\x01.mov")});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, R"({"schemaVersion":1,"supported":false,"acceleration":"none",)"
                        R"("reason":"could not open input: )" +
                            in_folder(R"(a \"b\"\tc\\d\ne\u0001.mov)") + "\"}\n");
}

TEST_F(ProgramModes, CheckSupportFindsProResOnEveryMachine) {
  for (const char* depth : {"8", "10"}) {
    for (const char* format : {"sbs", "mono"}) {
      const ProgramRun run = run_converter_program({"check-support", "--input-width", "640", "--input-height",
                                                    "480", "--input-bit-depth", depth, "--sbs-codec",
                                                    "prores", "--output-format", format});
      EXPECT_EQ(run.status, 0);
      EXPECT_EQ(run.output, "{\"schemaVersion\":1,\"supported\":true,\"acceleration\":\"software\"}\n");
      EXPECT_EQ(run.errors, "");
    }
  }
}

TEST_F(ProgramModes, CheckSupportPrintsNoH264Warning) {
  const ProgramRun run =
      run_converter_program({"check-support", in_folder("missing.mov"), "--sbs-codec", "h264"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.output.starts_with("{\"schemaVersion\":1,")) << run.output;
}

TEST_F(ProgramModes, CheckSupportGivesTheReasonOfARefusedBitrate) {
  const ProgramRun run = run_converter_program({"check-support", "--input-width", "640", "--input-height",
                                                "480", "--input-bit-depth", "8", "--sdr-bitrate", "much"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, R"({"schemaVersion":1,"supported":false,"acceleration":"none",)"
                        R"("reason":"invalid bitrate: much"})"
                        "\n");
}

TEST_F(ProgramModes, CheckSupportLeavesNothingBehind) {
  std::filesystem::create_directory(folder_ / "temporary");
  const ProgramRun run = run_converter_program({"check-support", "--input-width", "640", "--input-height",
                                                "480", "--input-bit-depth", "8", "--sbs-codec", "prores"},
                                               temporary_folder_is("temporary"));
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(std::filesystem::is_empty(folder_ / "temporary"));
}

TEST_F(ProgramModes, CheckSupportWithoutATemporaryFolderIsAnError) {
  const ProgramRun run = run_converter_program({"check-support", "--input-width", "640", "--input-height",
                                                "480", "--input-bit-depth", "8", "--sbs-codec", "prores"},
                                               temporary_folder_is("missing"));
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.output.starts_with("Error: ")) << run.output;
  EXPECT_NE(run.output.find("temp_directory_path"), std::string::npos) << run.output;
  EXPECT_EQ(run.errors, "");
}

}  // namespace
}  // namespace veyrin::test
