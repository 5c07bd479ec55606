#include <gtest/gtest.h>

#include "app/options.h"
#include "tests/app/broken_rules.h"
#include "tests/app/parsed_arguments.h"

namespace veyrin::test {
namespace {

TEST(OptionRules, EachBrokenRuleGivesItsMessage) {
  for (const RuleCase& c : broken_rules) {
    const ParsedArguments parsed = parse_arguments(c.arguments);
    EXPECT_FALSE(parsed.accepted) << joined(c.arguments);
    EXPECT_EQ(parsed.error, c.message) << joined(c.arguments);
  }
}

TEST(OptionRules, HelpSilencesNoRule) {
  for (const RuleCase& c : broken_rules) {
    Arguments arguments = c.arguments;
    arguments.push_back("--help");
    EXPECT_EQ(parse_arguments(arguments).error, c.message) << joined(arguments);
  }
}

TEST(OptionRules, AcceptTheirLimits) {
  for (const Arguments& arguments : {
           Arguments{"--eye-width", "1", "--eye-height", "1", "--thumbnail-width", "1"},
           Arguments{"--start", "0", "--duration", "1e-300", "--output-fps", "1e-300"},
           Arguments{"--output-format", "mono", "--sbs-spatial-metadata", "st3d"},
           Arguments{"--output-format", "mono", "--mono-eye", "left", "--sbs-codec", "prores"},
           Arguments{"--output-format", "spatial", "--sbs-codec", "h264", "--sbs-spatial-metadata", "both"},
           Arguments{"--thumbnail", "--output", "p.png", "a"},
           Arguments{"check-support", "a", "--output", "x"},
           Arguments{"check-support", "a", "--software", "--overwrite"},
           Arguments{"a", "b", "c", "--inspect", "--dry-run"},
           Arguments{},
       }) {
    const ParsedArguments parsed = parse_arguments(arguments);
    EXPECT_TRUE(parsed.accepted) << joined(arguments) << ": " << parsed.error;
  }
}

struct OrderCase {
  Arguments arguments;  ///< breaks at least two rules
  const char* message;  ///< of the earlier one
};

TEST(OptionRules, TheEarlierOfTwoBrokenRulesIsReported) {
  const char* const only_check_support =
      "--input-width, --input-height, and --input-bit-depth are valid only with check-support";
  for (const OrderCase& c : {
           OrderCase{{"--eye-height", "0", "--eye-width", "0"}, "--eye-width must be positive"},
           OrderCase{{"--thumbnail-width", "0", "--eye-height", "0"}, "--eye-height must be positive"},
           OrderCase{{"--start", "-1", "--thumbnail-width", "0"}, "--thumbnail-width must be positive"},
           OrderCase{{"--duration", "0", "--start", "-1"}, "--start must be non-negative"},
           OrderCase{{"--output-fps", "0", "--duration", "0"}, "--duration must be positive"},
           OrderCase{{"--sbs-spatial-metadata", "sei", "--output-format", "mono", "--output-fps", "0"},
                     "--output-fps must be positive"},
           OrderCase{{"--output-format", "mono", "--sbs-spatial-metadata", "both"},
                     "--sbs-spatial-metadata does not apply to mono output"},
           OrderCase{{"--mono-eye", "left", "--sbs-spatial-metadata", "sei"},
                     "SEI spatial metadata requires --sbs-codec h264"},
           OrderCase{{"--thumbnail", "--mono-eye", "left"}, "--mono-eye requires --output-format mono"},
           OrderCase{{"--thumbnail", "a", "b", "--inspect"}, "--thumbnail requires exactly one input"},
           OrderCase{{"--thumbnail", "a", "--inspect"}, "--thumbnail requires --output"},
           OrderCase{{"--thumbnail", "a", "--output", "x", "--dry-run", "--input-width", "1"},
                     "--thumbnail cannot be combined with --inspect or --dry-run"},
           OrderCase{{"--output", "x", "--input-width", "1"}, only_check_support},
           OrderCase{{"check-support", "--input-bit-depth", "12", "--inspect"},
                     "synthetic check-support requires --input-width, --input-height, and --input-bit-depth"},
           OrderCase{
               {"check-support", "--input-width", "0", "--input-height", "0", "--input-bit-depth", "12"},
               "--input-bit-depth must be 8 or 10"},
           OrderCase{
               {"check-support", "--input-width", "0", "--input-height", "1", "--input-bit-depth", "8", "a"},
               "synthetic input dimensions must be positive"},
           OrderCase{{"check-support", "--input-width", "1", "--input-height", "1", "--input-bit-depth", "8",
                      "a", "--inspect"},
                     "synthetic check-support does not accept an input file"},
           OrderCase{{"check-support", "--dry-run", "--output", "x"},
                     "check-support requires one input file or synthetic input properties"},
           OrderCase{{"check-support", "--input-width", "1", "--input-height", "1", "--input-bit-depth", "8",
                      "--inspect", "--output", "x"},
                     "check-support cannot be combined with --thumbnail, --inspect, or --dry-run"},
       }) {
    EXPECT_EQ(parse_arguments(c.arguments).error, c.message) << joined(c.arguments);
  }
}

}  // namespace
}  // namespace veyrin::test
