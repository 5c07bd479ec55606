#include "media/video_types.h"

#include <gtest/gtest.h>

namespace veyrin::test {
namespace {

TEST(GroupOfPictures, IsTwoSecondsOfWholeFrames) {
  struct RateCase {
    AVRational rate;
    int expected;
  };
  constexpr RateCase cases[] = {{{30, 1}, 60},         {{30000, 1001}, 58}, {{24, 1}, 48},
                                {{24000, 1001}, 46},   {{60, 1}, 120},      {{1, 1}, 2},
                                {{3, 2}, 2},           {{1, 2}, 1},         {{999, 1000}, 1},
                                {{100000, 1}, 200000}, {{1, 100000}, 1},    {{2000000000, 1}, 2147483647}};
  for (const RateCase& rate : cases) {
    EXPECT_EQ(group_of_pictures(rate.rate), rate.expected) << rate.rate.num << '/' << rate.rate.den;
  }
}

TEST(EncoderColors, UnspecifiedTagsGetTheDefaultsOfTheDepth) {
  EXPECT_EQ(encoder_colors({}, BitDepth::eight),
            (ColorTags{AVCOL_PRI_BT709, AVCOL_TRC_BT709, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG}));
  EXPECT_EQ(encoder_colors({}, BitDepth::ten),
            (ColorTags{AVCOL_PRI_BT2020, AVCOL_TRC_ARIB_STD_B67, AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_JPEG}));
}

TEST(EncoderColors, SpecifiedTagsAreKeptEachByItself) {
  const ColorTags all{AVCOL_PRI_SMPTE170M, AVCOL_TRC_SMPTE2084, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG};
  for (const BitDepth depth : {BitDepth::eight, BitDepth::ten}) {
    EXPECT_EQ(encoder_colors(all, depth), all);
    const ColorTags defaults = encoder_colors({}, depth);
    ColorTags expected = defaults;
    expected.transfer = AVCOL_TRC_SMPTE2084;
    EXPECT_EQ(encoder_colors({.transfer = AVCOL_TRC_SMPTE2084}, depth), expected);
    expected = defaults;
    expected.range = AVCOL_RANGE_MPEG;
    EXPECT_EQ(encoder_colors({.range = AVCOL_RANGE_MPEG}, depth), expected);
  }
}

}  // namespace
}  // namespace veyrin::test
