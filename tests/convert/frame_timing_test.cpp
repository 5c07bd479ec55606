#include "convert/frame_timing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace veyrin::test {
namespace {

// Runs pairs at the given times through a pacer; the result holds, per written frame, the index of its pair.
std::vector<int> written_pairs(FramePacer pacer, const std::vector<double>& times) {
  std::vector<int> written;
  for (int pair = 0; pair < static_cast<int>(times.size()); ++pair) {
    const double time = times[static_cast<std::size_t>(pair)];
    const PairDecision decision = pacer.decide(time);
    if (decision == PairDecision::finish) break;
    if (decision == PairDecision::drop) continue;
    do {
      written.push_back(pair);
      pacer.advance();
    } while (pacer.repeats(time));
  }
  return written;
}

// Frame times as a container of the given time base stores them.
std::vector<double> times_at(FrameRate rate, int count, double time_base_hz) {
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    times.push_back(std::round(i * rate.frame_duration() * time_base_hz) / time_base_hz);
  }
  return times;
}

TrimRange whole() {
  return TrimRange::from(0.0, std::nullopt);
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
  const std::vector<int> written = written_pairs(FramePacer(whole(), rates.output, rates.input),
                                                 times_at(rates.input, count, rates.time_base_hz));
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
      written_pairs(FramePacer(whole(), {48, 1}, {24, 1}), times_at({24, 1}, count, 12288));
  ASSERT_EQ(written.size(), static_cast<std::size_t>(2 * count));
  for (int i = 0; i < 2 * count; ++i) ASSERT_EQ(written[static_cast<std::size_t>(i)], i / 2);
}

TEST(FramePacing, KeepsEverySecondPairFrom60To30OverHours) {
  constexpr int count = 200000;
  const std::vector<int> written =
      written_pairs(FramePacer(whole(), {30, 1}, {60, 1}), times_at({60, 1}, count, 90000));
  ASSERT_EQ(written.size(), static_cast<std::size_t>(count / 2));
  for (int i = 0; i < count / 2; ++i) ASSERT_EQ(written[static_cast<std::size_t>(i)], 2 * i);
}

TEST(FramePacing, KeepsTiesThoughTheTimeBaseRoundsThem) {
  const std::vector<int> written =
      written_pairs(FramePacer(whole(), {48000, 1001}, {24000, 1001}), times_at({24000, 1001}, 5000, 90000));
  ASSERT_EQ(written.size(), 10000U);
  for (int i = 0; i < 10000; ++i) ASSERT_EQ(written[static_cast<std::size_t>(i)], i / 2);
}

TEST(FramePacing, NeverDriftsAtUnrelatedRates) {
  constexpr int count = 50000;
  const std::vector<int> written =
      written_pairs(FramePacer(whole(), {25, 1}, {30, 1}), times_at({30, 1}, count, 90000));
  ASSERT_NEAR(static_cast<double>(written.size()), count * 25.0 / 30.0, 1.0);
  for (std::size_t i = 0; i < written.size(); ++i) {
    ASSERT_LE(std::abs(written[i] / 30.0 - static_cast<double>(i) / 25.0), 0.5 / 25.0 + 1e-9)
        << "frame " << i;
  }
}

TEST(FramePacing, FillsAGapInTheInputWithTheNextPair) {
  const std::vector<int> written = written_pairs(FramePacer(whole(), {10, 1}, {10, 1}), {0.0, 0.1, 0.5, 0.6});
  EXPECT_EQ(written, (std::vector<int>{0, 1, 2, 2, 2, 2, 3}));
}

TEST(FramePacing, AGapReachesFromTheNextOutputTimeToThePairOrTheEnd) {
  FramePacer pacer(TrimRange::from(2.0, 10.0), {10, 1}, {10, 1});
  EXPECT_DOUBLE_EQ(pacer.gap_before(2.0), 0.0);
  EXPECT_DOUBLE_EQ(pacer.gap_before(5.0), 3.0);
  for (int i = 0; i < 10; ++i) pacer.advance();
  EXPECT_DOUBLE_EQ(pacer.gap_before(5.0), 2.0);
  EXPECT_DOUBLE_EQ(pacer.gap_before(1e9), 9.0) << "nothing is written behind the end";
  EXPECT_LT(pacer.gap_before(2.9), 0.0);
}

TEST(Trimming, ARangeShorterThanTheTieToleranceHoldsTheFrameAtItsStart) {
  for (const double duration : {1e-6, 1e-4, 0.0003}) {
    const FramePacer pacer(TrimRange::from(0.5, duration), {30, 1}, {30, 1});
    EXPECT_EQ(pacer.decide(0.5), PairDecision::encode) << duration;
    EXPECT_EQ(written_pairs(pacer, times_at({30, 1}, 60, 90000)), std::vector<int>{15}) << duration;
  }
}

TEST(Trimming, DropsPairsMoreThanHalfAFrameBeforeTheStart) {
  const FramePacer pacer(TrimRange::from(0.55, std::nullopt), {10, 1}, {10, 1});
  EXPECT_EQ(pacer.decide(0.4), PairDecision::drop);
  EXPECT_EQ(pacer.decide(0.5), PairDecision::encode) << "half a frame before the start is a tie and kept";
  EXPECT_EQ(pacer.decide(0.6), PairDecision::encode);
}

TEST(Trimming, FinishesAtTheEnd) {
  FramePacer pacer(TrimRange::from(0.5, 0.5), {10, 1}, {10, 1});
  for (int i = 0; i < 4; ++i) pacer.advance();
  EXPECT_EQ(pacer.decide(0.8), PairDecision::drop) << "its output time was written already";
  EXPECT_EQ(pacer.decide(0.9), PairDecision::encode);
  EXPECT_EQ(pacer.decide(1.0), PairDecision::finish);
  EXPECT_EQ(pacer.decide(0.99999999999), PairDecision::finish) << "rounding must not add a frame";
}

TEST(Trimming, WritesDurationTimesRateFrames) {
  const std::vector<double> times = times_at({30, 1}, 300, 90000);
  for (const double start : {0.0, 1.0, 2.5, 3.0 + 1.0 / 30}) {
    const std::vector<int> written =
        written_pairs(FramePacer(TrimRange::from(start, 2.0), {30, 1}, {30, 1}), times);
    ASSERT_EQ(written.size(), 60U) << "start " << start;
    EXPECT_EQ(written.front(), static_cast<int>(std::lround(start * 30)));
  }
}

TEST(Trimming, RepeatsStopAtTheEnd) {
  const std::vector<int> written =
      written_pairs(FramePacer(TrimRange::from(0.0, 0.25), {100, 1}, {10, 1}), times_at({10, 1}, 20, 1000));
  EXPECT_EQ(written.size(), 25U);
}

TEST(Trimming, SpanIsLimitedByTheRecordingAndNeverZero) {
  EXPECT_DOUBLE_EQ(TrimRange::from(1.0, 4.0).span(10.0), 4.0);
  EXPECT_DOUBLE_EQ(TrimRange::from(1.0, 40.0).span(10.0), 9.0);
  EXPECT_DOUBLE_EQ(TrimRange::from(1.0, std::nullopt).span(10.0), 9.0);
  EXPECT_DOUBLE_EQ(TrimRange::from(20.0, std::nullopt).span(10.0), 0.001);
  EXPECT_DOUBLE_EQ(TrimRange::from(0.0, std::nullopt).span(0.0), 0.001);
}

TEST(OutputRate, PrefersTheRequestThenTheInputThenThirty) {
  const auto rate = [](std::optional<FrameRate> requested, FrameRate input) {
    const FrameRate chosen = choose_output_rate(requested, input);
    return std::pair(chosen.numerator, chosen.denominator);
  };
  EXPECT_EQ(rate(FrameRate{48, 1}, {24, 1}), std::pair(48, 1));
  EXPECT_EQ(rate(std::nullopt, {30000, 1001}), std::pair(30000, 1001));
  EXPECT_EQ(rate(std::nullopt, {0, 1}), std::pair(30, 1));
  EXPECT_EQ(rate(std::nullopt, {25, 0}), std::pair(30, 1));
  EXPECT_EQ(rate(FrameRate{0, 1}, {24, 1}), std::pair(30, 1)) << "a request too small for a fraction";
}

}  // namespace
}  // namespace veyrin::test
