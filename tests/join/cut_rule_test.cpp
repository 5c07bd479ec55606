#include "join/cut_rule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "convert/frame_timing.h"

namespace veyrin::test {
namespace {

/// The number of the pair in each frame of a movie, as the conversion decides it pair by pair.
std::vector<std::size_t> movie_of(const std::vector<PairTime>& pairs, const TimeRange& range,
                                  FrameRate output, FrameRate input) {
  FramePacer pacer(range, output, input);
  std::vector<std::size_t> frames;
  for (std::size_t pair = 0; pair < pairs.size(); ++pair) {
    const PairDecision decision = pacer.decide(pairs[pair].seconds);
    if (decision == PairDecision::finish) break;
    if (decision == PairDecision::drop) continue;
    do {
      frames.push_back(pair);
      pacer.advance();
    } while (pacer.repeats(pairs[pair].seconds));
  }
  return frames;
}

/// Pairs at a rate, rounded to a clock's ticks.
struct Clip {
  std::string name;
  std::function<std::vector<PairTime>(FrameRate rate)> make;
};

std::vector<PairTime> pairs_at(FrameRate rate, int count, double first, double step, double ticks) {
  std::vector<PairTime> pairs;
  const auto rounded = [ticks](double seconds) { return std::round(seconds * ticks) / ticks; };
  for (int i = 0; i < count; ++i) {
    const double left = rounded(first + i * frame_seconds(rate));
    const double right = rounded(first + step + i * frame_seconds(rate));
    pairs.push_back({std::max(left, right), right - left});
  }
  return pairs;
}

constexpr int pair_count = 900;

const Clip clips[] = {
    {"plain", [](FrameRate rate) { return pairs_at(rate, pair_count, 0, 0, 90000); }},
    {"right eye late", [](FrameRate rate) { return pairs_at(rate, pair_count, 0, 0.1, 90000); }},
    {"right eye a third of a frame late",
     [](FrameRate rate) { return pairs_at(rate, pair_count, 0, frame_seconds(rate) / 3, 90000); }},
    {"left eye late", [](FrameRate rate) { return pairs_at(rate, pair_count, 0.13, -0.13, 90000); }},
    {"late start", [](FrameRate rate) { return pairs_at(rate, pair_count, 0.5, 0, 90000); }},
    {"half a frame late",
     [](FrameRate rate) { return pairs_at(rate, pair_count, frame_seconds(rate) / 2, 0, 90000); }},
    {"three quarters of a frame late, in milliseconds",
     [](FrameRate rate) { return pairs_at(rate, pair_count, frame_seconds(rate) * 0.75, 0, 1000); }},
    {"gap near the middle",
     [](FrameRate rate) {
       auto pairs = pairs_at(rate, pair_count, 0, 0, 90000);
       for (std::size_t i = pair_count / 2; i < pairs.size(); ++i) pairs[i].seconds += 1.7;
       return pairs;
     }},
    {"a frame lost in one eye near the middle",
     [](FrameRate rate) {
       auto pairs = pairs_at(rate, pair_count, 0, 0, 90000);
       for (std::size_t i = pair_count / 2 + 2; i < pairs.size(); ++i) {
         pairs[i].seconds += frame_seconds(rate);
         pairs[i].step_seconds = frame_seconds(rate);
       }
       return pairs;
     }},
    {"a clock that runs slow",
     [](FrameRate rate) {
       auto pairs = pairs_at(rate, pair_count, 0, 0, 90000);
       for (PairTime& pair : pairs) pair.seconds *= 1.0123;
       return pairs;
     }},
    // Pairs lie exactly where the tolerance for ties ends.
    {"a clock that runs a percent slow",
     [](FrameRate rate) {
       auto pairs = pairs_at(rate, pair_count, 0, 0, 90000);
       for (PairTime& pair : pairs) pair.seconds *= 1.01;
       return pairs;
     }},
    {"many lost frames",
     [](FrameRate rate) {
       auto pairs = pairs_at(rate, pair_count * 5 / 4, 0, 0, 90000);
       std::size_t number = 0;
       std::erase_if(pairs, [&number](const PairTime&) { return ++number % 29 == 0; });
       return pairs;
     }},
};

constexpr FrameRate rates[] = {{24, 1}, {24000, 1001}, {25, 1}, {30000, 1001},
                               {30, 1}, {60000, 1001}, {60, 1}};

struct Kind {
  const Clip& clip;
  FrameRate input;
  FrameRate output;
  [[nodiscard]] std::string name() const {
    return clip.name + ", " + std::to_string(input.num) + "/" + std::to_string(input.den) + " to " +
           std::to_string(output.num) + "/" + std::to_string(output.den);
  }
};

std::vector<Kind> kinds() {
  std::vector<Kind> found;
  for (const Clip& clip : clips) {
    for (const FrameRate input : rates) {
      found.push_back({clip, input, input});
      found.push_back({clip, input, {30, 1}});
      found.push_back({clip, input, {2 * input.num, input.den}});
    }
  }
  return found;
}

/// The pieces' frames one behind the other.
std::vector<std::size_t> joined(const std::vector<PairTime>& pairs, const std::vector<CutPiece>& pieces,
                                const Kind& kind, double origin, std::int64_t CutPiece::*count) {
  std::vector<std::size_t> frames;
  for (const CutPiece& piece : pieces) {
    TimeRange range = piece.range;
    range.start += origin;
    const auto more = movie_of(pairs, range, kind.output, kind.input);
    EXPECT_EQ(piece.*count, static_cast<std::int64_t>(more.size())) << kind.name();
    frames.insert(frames.end(), more.begin(), more.end());
  }
  return frames;
}

TEST(CutRule, PiecesTogetherHaveTheFramesOfOneGo) {
  for (const Kind& kind : kinds()) {
    const auto pairs = kind.clip.make(kind.input);
    const auto whole = movie_of(pairs, {}, kind.output, kind.input);
    for (const double seconds : {1.0, 1.7, 5.0, 9.3, 40.0}) {
      const auto pieces = choose_pieces(pairs, {{}, kind.output, kind.input, seconds, std::nullopt});
      EXPECT_TRUE(pieces.size() >= 3 || seconds > 5.0) << kind.name() << ", " << seconds;
      EXPECT_EQ(joined(pairs, pieces, kind, 0.0, &CutPiece::frames), whole) << kind.name() << ", " << seconds;
      EXPECT_EQ(pieces.front().range.start, 0.0);
      EXPECT_FALSE(pieces.back().range.duration.has_value());
    }
  }
}

TEST(CutRule, TheSameCutsDoWhereTimesAreCountedFromTheContainersStart) {
  std::size_t cut = 0;
  for (const Kind& kind : kinds()) {
    const auto pairs = kind.clip.make(kind.input);
    for (const double origin : {0.5, -0.02, 0.113}) {
      const auto whole = movie_of(pairs, {origin, std::nullopt}, kind.output, kind.input);
      const auto pieces = choose_pieces(pairs, {{}, kind.output, kind.input, 3.0, origin});
      cut += pieces.size() - 1;
      EXPECT_EQ(joined(pairs, pieces, kind, origin, &CutPiece::other_frames), whole) << kind.name();
      EXPECT_EQ(joined(pairs, pieces, kind, 0.0, &CutPiece::frames),
                movie_of(pairs, {}, kind.output, kind.input))
          << kind.name();
    }
  }
  EXPECT_GT(cut, 1000U);
}

TEST(CutRule, ATrimmedMovieIsCutWithinItsRange) {
  const Kind kind{clips[0], {30000, 1001}, {30000, 1001}};
  const auto pairs = kind.clip.make(kind.input);
  for (const std::optional<double> duration : {std::optional<double>(), std::optional(15.3)}) {
    const TimeRange range{2.02, duration};
    const auto pieces = choose_pieces(pairs, {range, kind.output, kind.input, 4.0, std::nullopt});
    EXPECT_GE(pieces.size(), 4U);
    EXPECT_EQ(joined(pairs, pieces, kind, 0.0, &CutPiece::frames),
              movie_of(pairs, range, kind.output, kind.input));
    EXPECT_EQ(pieces.front().range.start, 2.02);
    EXPECT_EQ(pieces.back().range.duration.has_value(), duration.has_value());
  }
}

TEST(CutRule, PiecesAreAboutAsLongAsAskedFor) {
  const auto pairs = pairs_at({30, 1}, 3000, 0, 0, 90000);  // 100 s
  for (const double seconds : {4.0, 7.0, 10.0, 33.0, 60.0}) {
    for (const CutPiece& piece : choose_pieces(pairs, {{}, {30, 1}, {30, 1}, seconds, std::nullopt})) {
      EXPECT_GT(static_cast<double>(piece.frames) / 30, seconds * 0.65) << seconds;
      EXPECT_LT(static_cast<double>(piece.frames) / 30, seconds * 1.55) << seconds;
    }
  }
  EXPECT_EQ(choose_pieces(pairs, {{}, {30, 1}, {30, 1}, 10.0, std::nullopt}).size(), 10U);
  EXPECT_EQ(choose_pieces(pairs, {{}, {30, 1}, {30, 1}, 67.0, std::nullopt}).size(), 1U) << "not worth it";
  EXPECT_EQ(choose_pieces(pairs, {{}, {30, 1}, {30, 1}, 1e9, std::nullopt}).size(), 1U);
  EXPECT_LE(choose_pieces(pairs, {{}, {30, 1}, {30, 1}, 1e-9, std::nullopt}).size(), 3000U / 16);
}

TEST(CutRule, CutsAreBetweenTwoPairsThatFollowEachOther) {
  const auto pairs = pairs_at({30, 1}, pair_count, 0.004, 0, 90000);
  const auto pieces = choose_pieces(pairs, {{}, {30, 1}, {30, 1}, 6.0, std::nullopt});
  ASSERT_EQ(pieces.size(), 5U);
  for (std::size_t i = 1; i < pieces.size(); ++i) {
    const double cut = pieces[i].range.start;
    EXPECT_NEAR(cut, pieces[i - 1].range.end(), 1e-9);
    const std::size_t first = movie_of(pairs, pieces[i].range, {30, 1}, {30, 1}).front();
    EXPECT_NEAR(pairs[first].seconds, cut, 0.5 / 30);
  }
}

TEST(CutRule, CutsKeepAwayFromGapsAndFromWhereTheEyesLoseStep) {
  const FrameRate rate{30, 1};
  for (const Clip& clip : {clips[7], clips[8]}) {
    const auto pairs = clip.make(rate);
    const auto pieces = choose_pieces(pairs, {{}, rate, rate, 15.0, std::nullopt});
    ASSERT_EQ(pieces.size(), 2U) << clip.name;
    // Left to itself the cut would be in the middle.
    const double cut = pieces[1].range.start;
    const double middle = pairs[pair_count / 2].seconds;
    EXPECT_GT(std::abs(cut - middle), 6.0 / 30) << clip.name;
    EXPECT_LT(std::abs(cut - middle), 4.0) << clip.name;
  }
}

TEST(CutRule, WithoutAnEvenPlaceThereIsOnePiece) {
  std::vector<PairTime> pairs;
  for (int i = 0; i < pair_count; ++i) {
    const int gaps = i / 4;
    pairs.push_back({i / 30.0 + gaps * 0.5, 0.0});
  }
  EXPECT_EQ(choose_pieces(pairs, {{}, {30, 1}, {30, 1}, 10.0, std::nullopt}).size(), 1U);
}

TEST(CutRule, FewOrNoPairsAreOnePiece) {
  for (const int count : {0, 1, 2, 17}) {
    const auto pairs = pairs_at({30, 1}, count, 0, 0, 90000);
    const auto pieces = choose_pieces(pairs, {{}, {30, 1}, {30, 1}, 0.01, std::nullopt});
    ASSERT_EQ(pieces.size(), 1U);
    EXPECT_EQ(pieces[0].frames, count);
    EXPECT_FALSE(pieces[0].range.duration.has_value());
  }
}

}  // namespace
}  // namespace veyrin::test
