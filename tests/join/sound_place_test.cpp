#include "join/sound_place.h"

#include <gtest/gtest.h>

#include <vector>

namespace veyrin::test {
namespace {

const std::vector<HeardPacket> recording{{"a", 0.50}, {"b", 0.52}, {"c", 0.54}, {"c", 0.56}, {"d", 0.58}};

TEST(SoundPlace, PacketsAreCountedWhereDataAndTimeAgree) {
  const std::vector<HeardPacket> piece{{"b", 0.0}, {"c", 0.0201}, {"c", 0.04}, {"x", 0.06}};
  EXPECT_EQ(count_shifted(piece, recording, 0.52), 3U);
  EXPECT_EQ(count_shifted(piece, recording, 0.54), 1U)
      << "the first of two packets that are alike, at the second's place";
  EXPECT_EQ(count_shifted(piece, recording, 0.51), 0U);
}

TEST(SoundPlace, NothingAgreesWithNothing) {
  EXPECT_EQ(count_shifted({}, recording, 0.0), 0U);
  EXPECT_EQ(count_shifted(recording, {}, 0.0), 0U);
}

}  // namespace
}  // namespace veyrin::test
