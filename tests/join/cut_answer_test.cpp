#include "join/cut_answer.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

TEST(CutAnswer, NamesEachPieceInOneLine) {
  const CutAnswer answer{
      .rate = {30000, 1001},
      .pairs = 40,
      .pieces = {{{0.0, 0.6673333333333333}, 20, 20}, {{0.6673333333333333, std::nullopt}, 21, 9}}};
  EXPECT_EQ(
      cut_answer_text(answer),
      R"({"rate":"30000/1001","pairs":40,"pieces":[{"start":0.0,"duration":0.6673333333333333,"frames":20},)"
      R"({"start":0.6673333333333333,"frames":21,"packaged_frames":9}]})");
}

TEST(CutAnswer, SaysWhyThereIsOnePieceAndNoCounts) {
  const CutAnswer answer{
      .rate = {24, 1}, .pieces = {CutPiece{{2.5, std::nullopt}}}, .reason = "because of \"this\""};
  EXPECT_EQ(cut_answer_text(answer),
            R"({"rate":"24/1","pieces":[{"start":2.5}],"reason":"because of \"this\""})");
}

TEST(CutAnswer, NumbersAreReadAsTheSameNumbers) {
  const double third = 1.0 / 3;
  const CutAnswer answer{.rate = {24, 1}, .pieces = {CutPiece{{third, 1e-7}}}};
  const std::string text = cut_answer_text(answer);
  EXPECT_EQ(std::stod(text.substr(text.find("\"start\":") + 8)), third) << text;
  EXPECT_EQ(std::stod(text.substr(text.find("\"duration\":") + 11)), 1e-7) << text;
}

TEST(CutAnswer, WhatIsNoRecordingGivesTheConvertersMessage) {
  const TemporaryFolder folder;
  std::string error;
  const auto missing = folder / "missing.mp4";
  EXPECT_FALSE(cut_recording(CutQuestion{missing, 1.0, {}, std::nullopt}, error).has_value());
  EXPECT_EQ(error, "could not open input: " + platform::path_to_utf8(missing));
}

}  // namespace
}  // namespace veyrin::test
