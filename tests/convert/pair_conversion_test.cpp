#include "convert/pair_conversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/console.h"
#include "tests/convert/fake_movie.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TimingPlan timing_of(FrameRate output, FrameRate input, TimeRange range = {}) {
  return {.range = range, .input_rate = input, .output_rate = output, .span_seconds = 1.0};
}

/// Runs pairs at the given times through a conversion; the result holds, per written frame, the number of its
/// pair.
std::vector<int> written_pairs(const TimingPlan& timing, const std::vector<double>& times) {
  const ConsoleSilence silence;
  FakeMovie movie;
  Processors processors;
  processors.push_back(std::make_unique<MarkingProcessor>(/*factor=*/0));
  Progress progress(timing.span_seconds);
  PairConversion pairs(timing, processors, movie, progress);
  std::string error;
  for (std::size_t pair = 0; pair < times.size() && !pairs.finished(); ++pair) {
    EXPECT_TRUE(pairs.convert(marked_frame(0, times[pair]),
                              marked_frame(static_cast<std::int64_t>(pair), times[pair]), error))
        << error;
  }
  EXPECT_TRUE(pairs.finish(error)) << error;
  std::vector<int> written;
  for (std::size_t frame = 0; frame < movie.indices.size(); ++frame) {
    EXPECT_EQ(movie.indices[frame], static_cast<std::int64_t>(frame)) << "indices rise by one";
    written.push_back(static_cast<int>(movie.pictures[frame].front()));
  }
  EXPECT_EQ(pairs.frames_written(), static_cast<std::int64_t>(written.size()));
  return written;
}

/// Frame times as a container of the given time base stores them.
std::vector<double> times_at(FrameRate rate, int count, double time_base_hz) {
  std::vector<double> times;
  for (int i = 0; i < count; ++i)
    times.push_back(std::round(i * frame_seconds(rate) * time_base_hz) / time_base_hz);
  return times;
}

struct RateCase {
  FrameRate input;
  FrameRate output;
  double time_base_hz;
};

class EqualRates : public testing::TestWithParam<RateCase> {};

TEST_P(EqualRates, WriteEveryPairOnce) {
  const RateCase& rates = GetParam();
  constexpr int count = 20000;
  const std::vector<int> written =
      written_pairs(timing_of(rates.output, rates.input), times_at(rates.input, count, rates.time_base_hz));
  ASSERT_EQ(written.size(), static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) ASSERT_EQ(written[static_cast<std::size_t>(i)], i);
}

INSTANTIATE_TEST_SUITE_P(FramePacing, EqualRates,
                         testing::Values(RateCase{{24, 1}, {24, 1}, 12288}, RateCase{{30, 1}, {30, 1}, 90000},
                                         RateCase{{60, 1}, {60, 1}, 600},
                                         RateCase{{30000, 1001}, {30000, 1001}, 30000},
                                         RateCase{{30000, 1001}, {2997, 100}, 90000},
                                         RateCase{{24000, 1001}, {24000, 1001}, 90000}));

TEST(FramePacing, DoublesEveryPairFrom24To48OverHours) {
  constexpr int count = 200000;
  const std::vector<int> written =
      written_pairs(timing_of({48, 1}, {24, 1}), times_at({24, 1}, count, 12288));
  ASSERT_EQ(written.size(), static_cast<std::size_t>(2 * count));
  for (int i = 0; i < 2 * count; ++i) ASSERT_EQ(written[static_cast<std::size_t>(i)], i / 2);
}

TEST(FramePacing, KeepsEverySecondPairFrom60To30OverHours) {
  constexpr int count = 200000;
  const std::vector<int> written =
      written_pairs(timing_of({30, 1}, {60, 1}), times_at({60, 1}, count, 90000));
  ASSERT_EQ(written.size(), static_cast<std::size_t>(count / 2));
  for (int i = 0; i < count / 2; ++i) ASSERT_EQ(written[static_cast<std::size_t>(i)], 2 * i);
}

TEST(FramePacing, KeepsTiesThoughTheTimeBaseRoundsThem) {
  const std::vector<int> written =
      written_pairs(timing_of({48000, 1001}, {24000, 1001}), times_at({24000, 1001}, 5000, 90000));
  ASSERT_EQ(written.size(), 10000U);
  for (int i = 0; i < 10000; ++i) ASSERT_EQ(written[static_cast<std::size_t>(i)], i / 2);
}

TEST(FramePacing, NeverDriftsAtUnrelatedRates) {
  constexpr int count = 50000;
  const std::vector<int> written =
      written_pairs(timing_of({25, 1}, {30, 1}), times_at({30, 1}, count, 90000));
  ASSERT_NEAR(static_cast<double>(written.size()), count * 25.0 / 30.0, 1.0);
  for (std::size_t i = 0; i < written.size(); ++i) {
    ASSERT_LE(std::abs(written[i] / 30.0 - static_cast<double>(i) / 25.0), 0.5 / 25.0 + 1e-9)
        << "frame " << i;
  }
}

TEST(FramePacing, FillsAGapInTheInputWithTheNextPair) {
  const std::vector<int> written = written_pairs(timing_of({10, 1}, {10, 1}), {0.0, 0.1, 0.5, 0.6});
  EXPECT_EQ(written, (std::vector<int>{0, 1, 2, 2, 2, 2, 3}));
}

TEST(Trimming, ARangeShorterThanTheTieToleranceHoldsTheFrameAtItsStart) {
  for (const double duration : {1e-6, 1e-4, 0.0003}) {
    const TimingPlan timing = timing_of({30, 1}, {30, 1}, {0.5, duration});
    const FramePacer pacer(timing.range, timing.output_rate, timing.input_rate);
    EXPECT_EQ(pacer.decide(0.5), PairDecision::encode) << duration;
    EXPECT_EQ(written_pairs(timing, times_at({30, 1}, 60, 90000)), std::vector<int>{15}) << duration;
  }
}

TEST(Trimming, WritesDurationTimesRateFrames) {
  const std::vector<double> times = times_at({30, 1}, 300, 90000);
  for (const double start : {0.0, 1.0, 2.5, 3.0 + 1.0 / 30}) {
    const std::vector<int> written = written_pairs(timing_of({30, 1}, {30, 1}, {start, 2.0}), times);
    ASSERT_EQ(written.size(), 60U) << "start " << start;
    EXPECT_EQ(written.front(), static_cast<int>(std::lround(start * 30)));
  }
}

TEST(Trimming, RepeatsStopAtTheEnd) {
  const std::vector<int> written =
      written_pairs(timing_of({100, 1}, {10, 1}, {0.0, 0.25}), times_at({10, 1}, 20, 1000));
  EXPECT_EQ(written.size(), 25U);
}

class OnePair : public testing::Test {
 protected:
  OnePair() { processors_.push_back(std::make_unique<MarkingProcessor>()); }

  bool convert(const TimingPlan& timing, DecodedFrame left, DecodedFrame right) {
    capture_output();
    Progress progress(timing.span_seconds);
    PairConversion pairs(timing, processors_, movie_, progress);
    const bool converted = pairs.convert(std::move(left), std::move(right), error_) && pairs.finish(error_);
    finished_ = pairs.finished();
    printed_ = captured_output();
    return converted;
  }

  FakeMovie movie_;
  Processors processors_;
  std::string error_;
  std::string printed_;
  bool finished_ = false;
};

TEST_F(OnePair, CountsAtTheLaterOfItsTwoTimes) {
  const TimingPlan timing = timing_of({10, 1}, {10, 1}, {1.0, std::nullopt});
  EXPECT_TRUE(convert(timing, marked_frame(1, 0.9), marked_frame(2, 0.2))) << error_;
  EXPECT_THAT(movie_.indices, IsEmpty()) << "more than half a frame before the start";
  EXPECT_TRUE(convert(timing, marked_frame(1, 0.2), marked_frame(2, 0.96))) << error_;
  EXPECT_THAT(movie_.pictures, ElementsAre(ElementsAre(1002)));
}

TEST_F(OnePair, IsProcessedOnceAndWrittenAsOftenAsTheRateNeeds) {
  EXPECT_TRUE(convert(timing_of({30, 1}, {10, 1}), marked_frame(1, 0.0), marked_frame(2, 0.0))) << error_;
  EXPECT_EQ(movie_.asked_for_canvases, 1);
  EXPECT_THAT(movie_.indices, ElementsAre(0, 1));
  EXPECT_EQ(printed_, "  progress_percent: 6\n") << "once for the pair";
}

TEST_F(OnePair, AtTheEndFinishesAndWritesNothing) {
  EXPECT_TRUE(convert(timing_of({10, 1}, {10, 1}, {0.0, 0.5}), marked_frame(1, 0.5), marked_frame(2, 0.5)));
  EXPECT_TRUE(finished_);
  EXPECT_EQ(movie_.asked_for_canvases, 0);
  EXPECT_EQ(printed_, "");
}

TEST_F(OnePair, WithAFrameMissingIsRefused) {
  EXPECT_FALSE(convert(timing_of({10, 1}, {10, 1}), marked_frame(1, 0.0), DecodedFrame{}));
  EXPECT_EQ(error_, "decoded frames were not available to the YUV pipeline");
}

TEST_F(OnePair, BehindAGapOfMoreThanAMinuteFillsItAndSaysSo) {
  const TimingPlan timing = timing_of({10, 1}, {10, 1});
  EXPECT_TRUE(convert(timing, marked_frame(1, 60.0), marked_frame(2, 60.0))) << error_;
  EXPECT_EQ(movie_.indices.size(), 601U);
  EXPECT_THAT(printed_, Not(HasSubstr("picture_gap"))) << "a minute passes without a line";
  movie_.indices.clear();
  EXPECT_TRUE(convert(timing, marked_frame(1, 61.2), marked_frame(2, 61.2))) << error_;
  EXPECT_EQ(movie_.indices.size(), 613U);
  EXPECT_THAT(printed_, StartsWith("  picture_gap: 61.200000 s without a picture before 61.200000 s, filled "
                                   "with the next one\n"));
}

TEST_F(OnePair, BehindAGapOfMoreThanADayIsRefused) {
  constexpr double day = 24 * 3600.0;
  const TimingPlan timing = timing_of({1, 10}, {1, 10});
  EXPECT_FALSE(convert(timing, marked_frame(1, day + 1), marked_frame(2, day + 1)));
  EXPECT_EQ(error_,
            "the recording has no picture for 86401 seconds, more than the 24 hours that can be filled");
  EXPECT_THAT(movie_.indices, IsEmpty());
  EXPECT_TRUE(convert(timing, marked_frame(1, day), marked_frame(2, day))) << error_;
  EXPECT_EQ(movie_.indices.size(), 8641U);
}

TEST_F(OnePair, BehindAGapIsWrittenAsFarAsTheTrimGoes) {
  const TimingPlan timing = timing_of({10, 1}, {10, 1}, {0.0, 100.0});
  EXPECT_TRUE(convert(timing, marked_frame(1, 99.0), marked_frame(2, 99.0))) << error_;
  EXPECT_EQ(movie_.indices.size(), 991U);
}

TEST_F(OnePair, CountsFromTheContainersStartWhereTheMoviesSoundDoes) {
  TimingPlan timing = timing_of({10, 1}, {10, 1}, {0.3, std::nullopt});
  timing.container_start_seconds = 0.5;
  EXPECT_TRUE(convert(timing, marked_frame(1, 0.8), marked_frame(2, 0.8))) << error_;
  EXPECT_EQ(movie_.indices.size(), 6U) << "from 0.3 on";
  movie_.indices.clear();
  movie_.from_container_start = true;
  EXPECT_TRUE(convert(timing, marked_frame(1, 0.7), marked_frame(2, 0.7))) << error_;
  EXPECT_THAT(movie_.indices, IsEmpty()) << "before 0.8";
  EXPECT_TRUE(convert(timing, marked_frame(1, 0.8), marked_frame(2, 0.8))) << error_;
  EXPECT_EQ(movie_.indices.size(), 1U) << "from 0.8 on";
}

TEST_F(OnePair, FailuresOfMovieAndProcessorAreItsOwn) {
  const TimingPlan timing = timing_of({10, 1}, {10, 1});
  movie_.canvas_failure = "no canvas";
  EXPECT_FALSE(convert(timing, marked_frame(1, 0.0), marked_frame(2, 0.0)));
  EXPECT_EQ(error_, "no canvas");
  movie_.canvas_failure.clear();
  movie_.fail_at = 0;
  EXPECT_FALSE(convert(timing, marked_frame(1, 0.0), marked_frame(2, 0.0)));
  EXPECT_EQ(error_, "could not write");
  processors_.front() = std::make_unique<RefusingProcessor>();
  EXPECT_FALSE(convert(timing, marked_frame(1, 0.0), marked_frame(2, 0.0)));
  EXPECT_EQ(error_, "cannot process");
  EXPECT_THAT(movie_.indices, IsEmpty());
}

/// Notes what it is told to do and leaves its pictures unfinished until it is waited for.
class PatientProcessor final : public YuvProcessor {
 public:
  explicit PatientProcessor(std::vector<std::string>& events) : events_(events) {}

  bool process(const AVFrame*, const AVFrame*, AVFrame*, std::string& error) const override {
    return fail(error, "was not asked to start");
  }

  bool start(const AVFrame* left, const AVFrame* right, AVFrame* output, std::string& error) const override {
    if (left->pts < 0) return fail(error, "cannot start");
    events_.push_back("start " + std::to_string(left->pts));
    left_ = left;
    right_ = right;
    output_ = output;
    return true;
  }

  void wait() const override {
    if (left_ == nullptr) return;
    events_.push_back("ready " + std::to_string(left_->pts));
    output_->pts = left_->pts + right_->pts;  // the frames are still there
    left_ = nullptr;
  }

 private:
  std::vector<std::string>& events_;
  mutable const AVFrame* left_ = nullptr;
  mutable const AVFrame* right_ = nullptr;
  mutable AVFrame* output_ = nullptr;
};

class PairAfterPair : public testing::Test {
 protected:
  PairAfterPair() {
    processors_.push_back(std::make_unique<PatientProcessor>(events_));
    movie_.on_write = [this] { events_.push_back("write"); };
  }

  bool convert(std::int64_t mark, double seconds) {
    return pairs_.convert(marked_frame(mark, seconds), marked_frame(100, seconds), error_);
  }

  std::vector<std::string> events_;
  FakeMovie movie_;
  Processors processors_;
  Progress progress_{100.0};
  PairConversion pairs_{timing_of({10, 1}, {10, 1}), processors_, movie_, progress_};
  std::string error_;
};

TEST_F(PairAfterPair, IsRectifiedWhileTheOneBeforeIsWritten) {
  const ConsoleSilence silence;
  ASSERT_TRUE(convert(1, 0.0) && convert(2, 0.1) && convert(3, 0.2) && pairs_.finish(error_)) << error_;
  EXPECT_THAT(events_, ElementsAre("start 1", "ready 1", "start 2", "write", "ready 2", "start 3", "write",
                                   "ready 3", "write"));
  EXPECT_THAT(movie_.pictures, ElementsAre(ElementsAre(101), ElementsAre(102), ElementsAre(103)));
}

TEST_F(PairAfterPair, HasItsLinesBelowTheProgressOfTheOneBefore) {
  capture_output();
  ASSERT_TRUE(convert(1, 0.0) && convert(2, 70.0) && pairs_.finish(error_)) << error_;
  EXPECT_EQ(captured_output(),
            "  progress_percent: 0\n"
            "  picture_gap: 69.900000 s without a picture before 70.000000 s, filled with the next one\n"
            "  progress_percent: 70\n");
}

TEST_F(PairAfterPair, LosesNothingOfTheOneBeforeWhenItFails) {
  const ConsoleSilence silence;
  ASSERT_TRUE(convert(1, 0.0)) << error_;
  EXPECT_FALSE(convert(-1, 0.1));
  EXPECT_EQ(error_, "cannot start");
  EXPECT_TRUE(pairs_.finish(error_));
  EXPECT_THAT(movie_.pictures, ElementsAre(ElementsAre(101)));
}

TEST_F(PairAfterPair, IsGivenUpWhenTheOneBeforeCannotBeWritten) {
  const ConsoleSilence silence;
  movie_.fail_at = 0;
  ASSERT_TRUE(convert(1, 0.0)) << error_;
  EXPECT_FALSE(convert(2, 0.1));
  EXPECT_EQ(error_, "could not write");
  movie_.fail_at = SIZE_MAX;
  EXPECT_TRUE(pairs_.finish(error_));
  EXPECT_THAT(movie_.indices, IsEmpty()) << "no movie goes on behind a hole";
}

TEST(PairConversion, GivesEachCanvasToItsOwnProcessor) {
  const ConsoleSilence silence;
  FakeMovie movie(/*canvas_count=*/2);
  Processors processors;
  processors.push_back(std::make_unique<MarkingProcessor>(10));
  processors.push_back(std::make_unique<MarkingProcessor>(100));
  Progress progress(1.0);
  PairConversion pairs(timing_of({10, 1}, {10, 1}), processors, movie, progress);
  std::string error;
  ASSERT_TRUE(pairs.convert(marked_frame(3, 0.0), marked_frame(4, 0.0), error)) << error;
  ASSERT_TRUE(pairs.finish(error)) << error;
  EXPECT_THAT(movie.pictures, ElementsAre(ElementsAre(34, 304)));
}

}  // namespace
}  // namespace veyrin::test
