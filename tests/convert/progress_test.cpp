#include <gtest/gtest.h>

#include <vector>

#include "convert/pair_conversion.h"

namespace veyrin::test {
namespace {

TEST(Progress, PrintsEachPercentOnceAndNeverAHundredBeforeTheEnd) {
  Progress progress(/*span_seconds=*/2.0);
  std::vector<int> printed;
  for (int frame = 1; frame <= 60; ++frame) {
    const ProgressReport report = progress.after_pair(frame, frame / 30.0);
    if (report.percent) printed.push_back(*report.percent);
  }
  ASSERT_EQ(printed.size(), 60U);
  EXPECT_EQ(printed.front(), 1);
  EXPECT_EQ(printed[1], 3);
  EXPECT_EQ(printed.back(), 99);
  EXPECT_EQ(progress.at_end(60).percent, 100);
}

TEST(Progress, KeepsSilentWhileThePercentStays) {
  Progress progress(100.0);
  EXPECT_EQ(progress.after_pair(1, 0.1).percent, 0);
  EXPECT_EQ(progress.after_pair(2, 0.2).percent, std::nullopt);
  EXPECT_EQ(progress.after_pair(3, 1.0).percent, 1);
}

TEST(Progress, CountsFramesEveryThirtyAndAtTheEnd) {
  Progress progress(1.0);
  std::vector<std::int64_t> counts;
  for (int frame = 1; frame <= 31; ++frame) {
    const ProgressReport report = progress.after_pair(frame, frame / 31.0);
    if (report.encoded_frames) counts.push_back(*report.encoded_frames);
  }
  counts.push_back(progress.at_end(31).encoded_frames.value_or(-1));
  EXPECT_EQ(counts, (std::vector<std::int64_t>{30, 31}));
}

TEST(Progress, StaysWithinBoundsBeyondTheSpan) {
  Progress progress(0.001);
  EXPECT_EQ(progress.after_pair(1, 5.0).percent, 99);
  EXPECT_EQ(progress.after_pair(2, -1.0).percent, 0);
}

}  // namespace
}  // namespace veyrin::test
