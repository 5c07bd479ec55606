#include "join/join_options.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace veyrin::test {
namespace {

/// The message for the arguments; empty when they are accepted.
std::string parse(std::initializer_list<const char*> arguments, JoinOptions& options) {
  std::vector<const char*> argv{"veyrin-join"};
  argv.insert(argv.end(), arguments);
  std::string error;
  return parse_join_arguments(static_cast<int>(argv.size()), argv.data(), options, error) ? "" : error;
}

TEST(JoinOptions, CutsAreOfOneRecording) {
  JoinOptions options;
  EXPECT_EQ(
      parse({"--cuts", "0.25", "--output-fps", "24", "--start", "3", "--duration", "9.5", "a.mp4"}, options),
      "");
  EXPECT_EQ(options.cut_minutes, 0.25);
  EXPECT_EQ(options.output_fps, 24.0);
  EXPECT_EQ(options.range.start, 3.0);
  EXPECT_EQ(options.range.duration, 9.5);
  EXPECT_EQ(options.files, std::vector<std::string>{"a.mp4"});
}

TEST(JoinOptions, PiecesKeepTheirOrder) {
  JoinOptions options;
  EXPECT_EQ(parse({"b.mov", "--recording", "r.mp4", "a.mov", "--overwrite", "--output", "-o.mov", "c.mov"},
                  options),
            "");
  EXPECT_FALSE(options.cut_minutes.has_value());
  EXPECT_EQ(options.recording, "r.mp4");
  EXPECT_EQ(options.output, "-o.mov");
  EXPECT_TRUE(options.overwrite);
  EXPECT_EQ(options.files, (std::vector<std::string>{"b.mov", "a.mov", "c.mov"}));
}

struct Refusal {
  std::initializer_list<const char*> arguments;
  const char* message;
};

TEST(JoinOptions, EachMistakeHasOneMessage) {
  const Refusal refusals[] = {
      {{"--cuts"}, "--cuts requires a value"},
      {{"--cuts", "ten", "a.mp4"}, "--cuts has an invalid numeric value: ten"},
      {{"--cuts", "0", "a.mp4"}, "--cuts must be positive"},
      {{"--cuts", "1"}, "--cuts requires exactly one recording"},
      {{"--cuts", "1", "a.mp4", "b.mp4"}, "--cuts requires exactly one recording"},
      {{"--cuts", "1", "--overwrite", "a.mp4"},
       "--cuts cannot be combined with --recording, --output, or --overwrite"},
      {{"--cuts", "1", "--start", "-1", "a.mp4"}, "--start must be non-negative"},
      {{"--cuts", "1", "--duration", "0", "a.mp4"}, "--duration must be positive"},
      {{"--cuts", "1", "--output-fps", "0", "a.mp4"}, "--output-fps must be positive"},
      {{"--recording", "r", "--output", "o", "--output-fps", "30", "a"},
       "--output-fps is valid only with --cuts"},
      {{}, "--recording is required"},
      {{"--recording", "r", "a"}, "--output is required"},
      {{"--recording", "r", "--output", "o"}, "at least one piece is required"},
      {{"--what"}, "unknown option: --what"},
  };
  for (const Refusal& refusal : refusals) {
    JoinOptions options;
    EXPECT_EQ(parse(refusal.arguments, options), refusal.message);
  }
}

TEST(JoinOptions, HelpNeedsNothingElse) {
  for (const char* spelling : {"--help", "-h"}) {
    JoinOptions options;
    EXPECT_EQ(parse({spelling}, options), "");
    EXPECT_TRUE(options.help);
  }
}

TEST(JoinOptions, TheUsageTextNamesEveryOption) {
  const std::string text = join_usage_text();
  for (const char* option : {"--cuts MINUTES", "--output-fps FPS", "--recording RECORDING", "--output MOVIE",
                             "--overwrite", "--start SECONDS", "--duration SECONDS", "--help, -h"})
    EXPECT_NE(text.find(std::string("\n  ") + option + "  "), std::string::npos) << option;
  EXPECT_EQ(text.back(), '\n');
}

}  // namespace
}  // namespace veyrin::test
