#include "convert/frame_timing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace veyrin::test {
namespace {

TEST(FramePacing, AGapReachesFromTheNextOutputTimeToThePairOrTheEnd) {
  FramePacer pacer(TimeRange{2.0, 10.0}, {10, 1}, {10, 1});
  EXPECT_DOUBLE_EQ(pacer.gap_before(2.0), 0.0);
  EXPECT_DOUBLE_EQ(pacer.gap_before(5.0), 3.0);
  for (int i = 0; i < 10; ++i) pacer.advance();
  EXPECT_DOUBLE_EQ(pacer.gap_before(5.0), 2.0);
  EXPECT_DOUBLE_EQ(pacer.gap_before(1e9), 9.0) << "nothing is written behind the end";
  EXPECT_LT(pacer.gap_before(2.9), 0.0);
}

TEST(Trimming, DropsPairsMoreThanHalfAFrameBeforeTheStart) {
  const FramePacer pacer(TimeRange{0.55, std::nullopt}, {10, 1}, {10, 1});
  EXPECT_EQ(pacer.decide(0.4), PairDecision::drop);
  EXPECT_EQ(pacer.decide(0.5), PairDecision::encode) << "half a frame before the start is a tie and kept";
  EXPECT_EQ(pacer.decide(0.6), PairDecision::encode);
}

TEST(Trimming, FinishesAtTheEnd) {
  FramePacer pacer(TimeRange{0.5, 0.5}, {10, 1}, {10, 1});
  for (int i = 0; i < 4; ++i) pacer.advance();
  EXPECT_EQ(pacer.decide(0.8), PairDecision::drop) << "its output time was written already";
  EXPECT_EQ(pacer.decide(0.9), PairDecision::encode);
  EXPECT_EQ(pacer.decide(1.0), PairDecision::finish);
  EXPECT_EQ(pacer.decide(0.99999999999), PairDecision::finish) << "rounding must not add a frame";
}

struct LengthCase {
  double duration;
  FrameRate rate;
  std::int64_t frames;
};

// What `ffmpeg -f rawvideo -framerate RATE -i ... -t DURATION` writes.
constexpr LengthCase lengths[] = {
    {0.5, {30, 1}, 15},       {0.51, {30, 1}, 15},       {0.52, {30, 1}, 16},      {0.1, {30, 1}, 3},
    {0.01, {30, 1}, 1},       {0.001, {30, 1}, 1},       {0.000001, {30, 1}, 1},   {0.35, {30, 1}, 11},
    {0.05, {30, 1}, 2},       {1.0, {30, 1}, 30},        {0.5, {24, 1}, 12},       {0.51, {24, 1}, 12},
    {0.52, {24, 1}, 12},      {0.1, {24, 1}, 2},         {0.3, {24, 1}, 7},        {0.35, {24, 1}, 8},
    {0.5, {30000, 1001}, 15}, {0.52, {30000, 1001}, 16}, {0.3, {30000, 1001}, 9},  {0.35, {30000, 1001}, 10},
    {1.0, {30000, 1001}, 30}, {0.05, {30000, 1001}, 1},  {0.01, {30000, 1001}, 1}, {0.1, {30000, 1001}, 3},
};

TEST(Trimming, AMovieIsAsLongAsThePackagedEncoderMakesIt) {
  for (const LengthCase& c : lengths) {
    EXPECT_EQ(frames_in(c.duration, c.rate), c.frames)
        << c.duration << " s at " << c.rate.num << "/" << c.rate.den;
  }
}

TEST(Trimming, ExtremeLengthsHoldOneFrameOrAllThereAre) {
  EXPECT_EQ(frames_in(1e-300, {30, 1}), 1);
  EXPECT_EQ(frames_in(4e-7, {1000000, 1}), 1);
  EXPECT_EQ(frames_in(1e10, {60, 1}), 600'000'000'000);
  for (const double forever : {1e15, 1e300}) EXPECT_GE(frames_in(forever, {24, 1}), std::int64_t{1} << 60);
}

TEST(Trimming, FinishesWhenTheMovieIsLongEnoughThoughThePairLiesBeforeTheEnd) {
  FramePacer pacer(TimeRange{1.0166, 0.5}, {30, 1}, {30, 1});
  for (int i = 0; i < 15; ++i) {
    ASSERT_EQ(pacer.decide(1.0 + i / 30.0), PairDecision::encode) << i;
    pacer.advance();
    EXPECT_FALSE(pacer.repeats(1.0 + i / 30.0)) << i;
  }
  EXPECT_EQ(pacer.decide(1.5), PairDecision::finish);
}

TEST(FramePacing, EyesMoreThanHalfAnInputFrameApartAreOutOfStep) {
  const FramePacer pacer(TimeRange{}, {60, 1}, {30, 1});
  EXPECT_DOUBLE_EQ(pacer.input_frame_seconds(), 1.0 / 30);
  for (const double step : {0.0, 0.001, 1.0 / 60, 1.0 / 60 + 0.0002}) {
    EXPECT_FALSE(pacer.out_of_step(2.0, 2.0 + step)) << step;
    EXPECT_FALSE(pacer.out_of_step(2.0 + step, 2.0)) << step;
  }
  for (const double step : {1.0 / 60 + 0.001, 1.0 / 30, 5.0}) {
    EXPECT_TRUE(pacer.out_of_step(2.0, 2.0 + step)) << step;
    EXPECT_TRUE(pacer.out_of_step(2.0 + step, 2.0)) << step;
  }
}

TEST(Trimming, SpanIsLimitedByTheRecordingAndNeverZero) {
  EXPECT_DOUBLE_EQ(convertible_seconds({1.0, 4.0}, 10.0), 4.0);
  EXPECT_DOUBLE_EQ(convertible_seconds({1.0, 40.0}, 10.0), 9.0);
  EXPECT_DOUBLE_EQ(convertible_seconds({1.0, std::nullopt}, 10.0), 9.0);
  EXPECT_DOUBLE_EQ(convertible_seconds({20.0, std::nullopt}, 10.0), 0.001);
  EXPECT_DOUBLE_EQ(convertible_seconds({0.0, std::nullopt}, 0.0), 0.001);
}

TEST(OutputRate, PrefersTheRequestThenTheInputThenThirty) {
  const auto rate = [](std::optional<FrameRate> requested, FrameRate input) {
    const FrameRate chosen = choose_output_rate(requested, input);
    return std::pair(chosen.num, chosen.den);
  };
  EXPECT_EQ(rate(FrameRate{48, 1}, {24, 1}), std::pair(48, 1));
  EXPECT_EQ(rate(std::nullopt, {30000, 1001}), std::pair(30000, 1001));
  EXPECT_EQ(rate(std::nullopt, {0, 1}), std::pair(30, 1));
  EXPECT_EQ(rate(std::nullopt, {25, 0}), std::pair(30, 1));
  EXPECT_EQ(rate(FrameRate{0, 1}, {24, 1}), std::pair(30, 1)) << "a request too small for a fraction";
}

TEST(AudioTrim, CopiesWhatOverlapsTheRange) {
  const TimeRange range = TimeRange{1.0, 2.0};
  EXPECT_EQ(decide_audio_packet(0.0, 0.5, range), AudioDecision::skip);
  EXPECT_EQ(decide_audio_packet(0.5, 1.0, range), AudioDecision::skip) << "touching the start is outside";
  EXPECT_EQ(decide_audio_packet(0.99, 1.01, range), AudioDecision::copy) << "straddles the start";
  EXPECT_EQ(decide_audio_packet(1.0, 1.02, range), AudioDecision::copy);
  EXPECT_EQ(decide_audio_packet(2.99, 3.01, range), AudioDecision::copy) << "straddles the end";
  EXPECT_EQ(decide_audio_packet(3.0, 3.02, range), AudioDecision::done);
}

TEST(AudioTrim, SkipsEncoderDelayBeforeZero) {
  const TimeRange range = TimeRange{0.0, std::nullopt};
  EXPECT_EQ(decide_audio_packet(-0.0213, 0.0, range), AudioDecision::skip);
  EXPECT_EQ(decide_audio_packet(-0.0213, 0.0001, range), AudioDecision::copy);
}

TEST(AudioTrim, OffsetIsTheStartInMicroseconds) {
  EXPECT_EQ(audio_offset_microseconds(TimeRange{0.0, std::nullopt}), 0);
  EXPECT_EQ(audio_offset_microseconds(TimeRange{1.5, std::nullopt}), 1'500'000);
  EXPECT_EQ(audio_offset_microseconds(TimeRange{0.0000005, std::nullopt}), 1);
}

}  // namespace
}  // namespace veyrin::test
