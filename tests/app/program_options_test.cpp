#include <gtest/gtest.h>

#include "app/option_table.h"
#include "tests/app/broken_rules.h"
#include "tests/app/program_test.h"

namespace veyrin::test {
namespace {

TEST(Program, PrintsTheUsageTextForHelpAndSucceeds) {
  for (const Arguments& arguments :
       {Arguments{"--help"}, Arguments{"-h"}, Arguments{"missing.mov", "-h", "--inspect"},
        Arguments{"check-support", "missing.mov", "--help"},
        Arguments{"--help", "--thumbnail", "missing.mov", "--output", "preview.png"},
        Arguments{"--help", "--sbs-codec", "h264"}}) {
    const ProgramRun run = run_converter_program(arguments);
    EXPECT_EQ(run.status, 0) << described(arguments, run);
    EXPECT_EQ(run.output, usage_text()) << described(arguments, run);
    EXPECT_EQ(run.errors, "") << described(arguments, run);
  }
}

TEST(Program, ReportsAnOptionErrorInsteadOfTheHelp) {
  EXPECT_TRUE(is_failure(run_converter_program({"--help", "--bogus"}), "unknown option: --bogus"));
  EXPECT_TRUE(is_failure(run_converter_program({"--help", "--start"}), "--start requires a value"));
  EXPECT_TRUE(is_failure(run_converter_program({"check-support", "--help"}),
                         "check-support requires one input file or synthetic input properties"));
}

TEST(Program, PrintsTheUsageTextAfterTheMissingInputError) {
  for (const Arguments& arguments :
       {Arguments{}, Arguments{"--inspect"}, Arguments{"--dry-run", "--software"},
        Arguments{"--sbs-codec", "h264"}}) {
    const ProgramRun run = run_converter_program(arguments);
    EXPECT_EQ(run.status, 1) << described(arguments, run);
    EXPECT_EQ(run.output, "Error: at least one input is required\n" + usage_text());
    EXPECT_EQ(run.errors, "");
  }
}

TEST(Program, ReportsEveryBrokenRuleOnOneLine) {
  for (const RuleCase& c : broken_rules) {
    const ProgramRun run = run_converter_program(c.arguments);
    EXPECT_TRUE(is_failure(run, c.message)) << described(c.arguments, run);
  }
}

TEST(Program, ReportsBadArgumentsOnOneLine) {
  for (const RuleCase& c : {
           RuleCase{{"-"}, "unknown option: -"},
           RuleCase{{"--output-fps", "1s"}, "--output-fps has an invalid numeric value: 1s"},
           RuleCase{{"--eye-width", "2147483648"}, "--eye-width has an invalid numeric value: 2147483648"},
           RuleCase{{"a", "--output"}, "--output requires a value"},
           RuleCase{{"--sbs-codec", "H264"}, "--sbs-codec must be h264, hevc, or prores"},
           RuleCase{{"--\xc3\xa9"}, "unknown option: --\xc3\xa9"},
           RuleCase{{"--%s%n"}, "unknown option: --%s%n"},
       }) {
    const ProgramRun run = run_converter_program(c.arguments);
    EXPECT_TRUE(is_failure(run, c.message)) << described(c.arguments, run);
  }
}

}  // namespace
}  // namespace veyrin::test
