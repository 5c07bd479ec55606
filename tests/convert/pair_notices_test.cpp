// What a conversion says of pairs whose times are odd: eyes out of step, frames without a time stamp.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "convert/pair_conversion.h"
#include "tests/convert/fake_movie.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

using testing::ElementsAre;

TimingPlan ten_a_second(TimeRange range = {}) {
  return {.range = range, .input_rate = {10, 1}, .output_rate = {10, 1}, .span_seconds = 1.0};
}

/// Two frames of one pair; a time that is absent is no time stamp.
struct FrameTimes {
  std::optional<double> left, right;
};

struct Printed {
  std::vector<std::int64_t> pairs;  ///< of each written frame
  std::string lines;                ///< but progress
};

DecodedFrame timed_frame(std::int64_t mark, std::optional<double> time) {
  DecodedFrame decoded = marked_frame(mark, time.value_or(0.0));
  if (!time) decoded.frame->best_effort_timestamp = AV_NOPTS_VALUE;
  return decoded;
}

Printed convert_pairs(const TimingPlan& timing, const std::vector<FrameTimes>& times) {
  FakeMovie movie;
  Processors processors;
  processors.push_back(std::make_unique<MarkingProcessor>(/*factor=*/0));
  Progress progress(timing.span_seconds);
  PairConversion pairs(timing, processors, movie, progress);
  std::string error;
  capture_output();
  for (std::size_t i = 0; i < times.size(); ++i) {
    const auto mark = static_cast<std::int64_t>(i);
    EXPECT_TRUE(pairs.convert(timed_frame(mark, times[i].left), timed_frame(mark, times[i].right), error))
        << error;
  }
  EXPECT_TRUE(pairs.finish(error)) << error;
  pairs.report_pairs_out_of_step();
  Printed printed;
  std::istringstream output(captured_output());
  for (std::string line; std::getline(output, line);) {
    if (line.find("progress") == std::string::npos && line.find("encoded") == std::string::npos)
      printed.lines += line + "\n";
  }
  for (const auto& picture : movie.pictures) printed.pairs.push_back(picture.front());
  return printed;
}

TEST(EyesOutOfStep, AreNoticedOnceAndCounted) {
  const TimingPlan timing = ten_a_second({0.2, 0.5});
  const Printed printed = convert_pairs(
      timing,
      {{0.0, 0.5}, {0.1, 0.15}, {0.2, 0.24}, {0.3, 0.4}, {0.4, 0.5}, {0.5, 0.5}, {0.6, 0.5}, {0.8, 0.9}});
  EXPECT_EQ(printed.lines,
            "  eyes_out_of_step: left and right frame are 0.500000 s apart, first at 0.500000 s\n"
            "  pairs_out_of_step: 2\n");
}

TEST(EyesOutOfStep, AreNotMentionedWhenTheyAreInStep) {
  EXPECT_EQ(convert_pairs(ten_a_second(), {{0.0, 0.05}, {0.15, 0.1}, {0.2, 0.2}}).lines, "");
}

TEST(MissingTimeStamps, TakeTheTimeOfTheOtherEyeOrFollowThePairBefore) {
  const TimingPlan timing = ten_a_second();
  const std::optional<double> none;
  const std::string notice =
      "  missing_time_stamps: frames without one are taken as following each other, first at ";
  const Printed some =
      convert_pairs(timing, {{0.0, 0.0}, {0.1, none}, {none, 0.2}, {none, none}, {0.4, 0.4}});
  EXPECT_THAT(some.pairs, ElementsAre(0, 1, 2, 3, 4));
  EXPECT_EQ(some.lines, notice + "0.100000 s\n");
  const Printed all = convert_pairs(timing, {{none, none}, {none, none}, {none, none}, {none, none}});
  EXPECT_THAT(all.pairs, ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(all.lines, notice + "0.000000 s\n");
}

}  // namespace
}  // namespace veyrin::test
