#include "convert/seek_point.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>

namespace veyrin::test {
namespace {

constexpr std::int64_t frame = 10;  // ticks

/// Groups of pictures in decoding order, all with numbers of frames as times; the first one is each group's
/// key picture.
EyePictures eye(const std::vector<std::vector<int>>& groups, std::int64_t offset = 0) {
  EyePictures result{{}, {1, 100}};
  for (const auto& group : groups) {
    for (std::size_t i = 0; i < group.size(); ++i) {
      const auto dts = static_cast<std::int64_t>(result.pictures.size());
      result.pictures.push_back({(dts - 2) * frame + offset, group[i] * frame + offset, i == 0});
    }
  }
  return result;
}

/// Plain groups of `length` pictures without reordering.
EyePictures plain_eye(int count, int length, std::int64_t offset = 0) {
  std::vector<std::vector<int>> groups;
  for (int number = 0; number < count; ++number) {
    if (number % length == 0) groups.emplace_back();
    groups.back().push_back(number);
  }
  return eye(groups, offset);
}

/// What is asked when pairs before `start_seconds` are dropped and every key picture is clean.
SeekQuestions before(double start_seconds) {
  const auto clean = [](std::size_t) { return true; };
  return {[start_seconds](double time) { return time < start_seconds - 0.001; }, clean, clean};
}

TEST(SeekPoint, IsTheLastKeyPictureAtOrBeforeTheStart) {
  const EyePictures both = plain_eye(40, 8);
  struct Case {
    double start;
    std::size_t key;
    std::int64_t first;
  };
  for (const Case& c : {Case{0.8, 8, 80}, Case{0.85, 8, 90}, Case{1.5, 8, 150}, Case{1.59, 16, 160},
                        Case{1.6, 16, 160}, Case{3.9, 32, 390}}) {
    const auto point = choose_seek_point(both, both, before(c.start));
    ASSERT_TRUE(point.has_value()) << c.start;
    for (const EyeStart& start : {point->left, point->right}) {
      EXPECT_EQ(start.key, c.key) << c.start;
      EXPECT_EQ(start.key_dts, both.pictures[c.key].dts);
      EXPECT_EQ(start.first_pts, c.first) << c.start;
    }
  }
}

TEST(SeekPoint, IsNoneInTheFirstGroup) {
  const EyePictures both = plain_eye(40, 8);
  for (const double start : {0.0, 0.1, 0.7}) EXPECT_FALSE(choose_seek_point(both, both, before(start)));
}

TEST(SeekPoint, BehindTheEndLeavesNoFrame) {
  const auto point = choose_seek_point(plain_eye(40, 8), plain_eye(30, 8), before(100));
  ASSERT_TRUE(point.has_value());
  EXPECT_EQ(point->right.first_pts, std::numeric_limits<std::int64_t>::max());
}

TEST(SeekPoint, FramesOfTheSameNumberArePaired) {
  // The right eye starts 0.15 s later, so frame 9 of both is shown at 0.9 and at 1.05 s.
  const auto point = choose_seek_point(plain_eye(40, 8), plain_eye(40, 3, 15), before(1.05));
  ASSERT_TRUE(point.has_value());
  EXPECT_EQ(point->left.key, 8U);
  EXPECT_EQ(point->left.first_pts, 90);
  EXPECT_EQ(point->right.key, 9U);
  EXPECT_EQ(point->right.first_pts, 105);
}

TEST(SeekPoint, LostFramesCountBehindThem) {
  EyePictures right = plain_eye(40, 8);
  right.pictures.erase(right.pictures.begin() + 7);
  const EyePictures left = plain_eye(40, 8);
  // From the loss on, frame n of the right eye is shown with frame n - 1 of the left one.
  const auto point = choose_seek_point(left, right, before(2.4));
  ASSERT_TRUE(point.has_value());
  EXPECT_EQ(point->left.key, 16U);
  EXPECT_EQ(point->left.first_pts, 230);
  EXPECT_EQ(point->right.key, 23U);
  EXPECT_EQ(point->right.first_pts, 240);
}

TEST(SeekPoint, PicturesShownBeforeTheKeyPictureAreNotUsed) {
  // Frames 5 and 6 are decoded behind key picture 7 and may need the group before.
  const EyePictures both = eye({{0, 2, 1, 4, 3}, {7, 5, 6, 9, 8}, {10, 12, 11}});
  for (const auto& [start, key] :
       std::vector<std::pair<double, std::size_t>>{{0.7, 5}, {0.9, 5}, {1.0, 10}, {1.2, 10}}) {
    const auto point = choose_seek_point(both, both, before(start));
    ASSERT_TRUE(point.has_value()) << start;
    EXPECT_EQ(point->left.key, key) << start;
  }
  EXPECT_FALSE(choose_seek_point(both, both, before(0.5)));
  EXPECT_FALSE(choose_seek_point(both, both, before(0.6)));
}

TEST(SeekPoint, KeyPicturesShownBeforeEarlierOnesAreNone) {
  const EyePictures both = eye({{0, 1, 2, 3}, {5}, {4}, {6, 7, 8}});
  const auto clean_at_4 = choose_seek_point(both, both, before(0.4));
  EXPECT_FALSE(clean_at_4) << "its frame's number depends on what the decoder makes of it";
  const auto clean_at_5 = choose_seek_point(both, both, before(0.5));
  ASSERT_TRUE(clean_at_5.has_value());
  EXPECT_EQ(clean_at_5->left.key, 4U);
}

TEST(SeekPoint, OnlyCleanPicturesCount) {
  const EyePictures both = plain_eye(40, 8);
  SeekQuestions questions = before(3.5);
  std::vector<std::size_t> asked;
  questions.right_is_clean = [&](std::size_t position) {
    asked.push_back(position);
    return position == 16;
  };
  const auto point = choose_seek_point(both, both, questions);
  ASSERT_TRUE(point.has_value());
  EXPECT_EQ(point->left.key, 32U);
  EXPECT_EQ(point->right.key, 16U);
  EXPECT_EQ(point->right.first_pts, 350);
  EXPECT_EQ(asked, (std::vector<std::size_t>{32, 24, 16}));
}

TEST(SeekPoint, ManyUncleanPicturesAreNotAllTried) {
  const EyePictures both = plain_eye(4000, 2);
  SeekQuestions questions = before(350);
  int asked = 0;
  questions.left_is_clean = questions.right_is_clean = [&](std::size_t) { return ++asked < 0; };
  EXPECT_FALSE(choose_seek_point(both, both, questions));
  EXPECT_LT(asked, 200);
}

TEST(SeekPoint, IsNoneWhereFramesCannotBeCounted) {
  const EyePictures good = plain_eye(40, 8);
  ASSERT_TRUE(choose_seek_point(good, good, before(3)));
  EyePictures doubled = good;
  doubled.pictures[3].pts = doubled.pictures[4].pts;
  EyePictures misplaced = good;
  misplaced.pictures[30].pts -= 105;
  EyePictures open_at_first = eye({{2, 0, 1}, {3, 4, 5}, {6, 7, 8}, {9, 10}});
  EyePictures no_key_at_first = good;
  no_key_at_first.pictures[0].key = false;
  for (const EyePictures& bad : {doubled, misplaced, open_at_first, no_key_at_first, EyePictures{}}) {
    EXPECT_FALSE(choose_seek_point(good, bad, before(0.9)));
    EXPECT_FALSE(choose_seek_point(bad, good, before(0.9)));
  }
}

TEST(SeekPoint, TimesMayBeRoundedAndFramesLastDifferently) {
  EyePictures both = eye({{0, 2, 1, 4, 3}, {7, 5, 6, 9, 8}, {10, 12, 11}});
  for (std::size_t position = 0; position < both.pictures.size(); ++position)
    both.pictures[position].pts += static_cast<std::int64_t>(position * position % 3);
  EXPECT_TRUE(choose_seek_point(both, both, before(1.1)));
  EyePictures uneven = plain_eye(40, 8);
  for (std::size_t position = 20; position < uneven.pictures.size(); ++position) {
    uneven.pictures[position].dts += 500;
    uneven.pictures[position].pts += 500;
  }
  EXPECT_TRUE(choose_seek_point(uneven, uneven, before(2)));
}

/// Decodes as a decoder does: nothing before the key picture, and of the pictures behind it those are lost
/// that are shown before it. The numbers of the frames used, by their times.
std::vector<std::int64_t> used_frames(const EyePictures& pictures, const EyeStart& start) {
  std::vector<std::int64_t> times;
  const std::int64_t key_pts = pictures.pictures[start.key].pts;
  for (std::size_t position = start.key; position < pictures.pictures.size(); ++position) {
    const std::int64_t pts = pictures.pictures[position].pts;
    if (pts >= key_pts && pts >= start.first_pts) times.push_back(pts);
  }
  std::ranges::sort(times);
  return times;
}

TEST(SeekPoint, PairsAreThoseOfDecodingEverything) {
  const EyePictures left = eye({{0, 3, 1, 2}, {6, 4, 5, 8, 7}, {9, 11, 10, 12}, {15, 13, 14, 17, 16}});
  const EyePictures right = eye({{0, 2, 1}, {3, 5, 4, 7, 6}, {8, 9, 10, 11, 12}, {13, 14, 15, 16}}, 7);
  int chosen = 0;
  for (int start = 0; start < 190; ++start) {
    const double seconds = start / 100.0 + 0.001;
    const auto point = choose_seek_point(left, right, before(seconds));
    if (!point) continue;
    ++chosen;
    const auto lefts = used_frames(left, point->left);
    const auto rights = used_frames(right, point->right);
    const auto all_lefts = used_frames(left, {});
    const auto all_rights = used_frames(right, {});
    for (std::size_t number = 0; number < std::min(all_lefts.size(), all_rights.size()); ++number) {
      const bool wanted = std::max(all_lefts[number], all_rights[number]) >= start;
      const std::size_t passed = all_lefts.size() - lefts.size();
      ASSERT_EQ(passed, all_rights.size() - rights.size());
      ASSERT_EQ(number >= passed, wanted) << "frame " << number << ", start " << start;
      if (!wanted) continue;
      EXPECT_EQ(lefts[number - passed], all_lefts[number]);
      EXPECT_EQ(rights[number - passed], all_rights[number]);
    }
  }
  EXPECT_GT(chosen, 100);
}

}  // namespace
}  // namespace veyrin::test
