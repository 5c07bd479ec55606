#include "convert/audio_trim.h"

#include <gtest/gtest.h>

namespace veyrin::test {
namespace {

TEST(AudioTrim, CopiesWhatOverlapsTheRange) {
  const TrimRange range = TrimRange::from(1.0, 2.0);
  EXPECT_EQ(decide_audio_packet(0.0, 0.5, range), AudioDecision::skip);
  EXPECT_EQ(decide_audio_packet(0.5, 1.0, range), AudioDecision::skip) << "touching the start is outside";
  EXPECT_EQ(decide_audio_packet(0.99, 1.01, range), AudioDecision::copy) << "straddles the start";
  EXPECT_EQ(decide_audio_packet(1.0, 1.02, range), AudioDecision::copy);
  EXPECT_EQ(decide_audio_packet(2.99, 3.01, range), AudioDecision::copy) << "straddles the end";
  EXPECT_EQ(decide_audio_packet(3.0, 3.02, range), AudioDecision::done);
}

TEST(AudioTrim, SkipsEncoderDelayBeforeZero) {
  const TrimRange range = TrimRange::from(0.0, std::nullopt);
  EXPECT_EQ(decide_audio_packet(-0.0213, 0.0, range), AudioDecision::skip);
  EXPECT_EQ(decide_audio_packet(-0.0213, 0.0001, range), AudioDecision::copy);
}

TEST(AudioTrim, OffsetIsTheStartInMicroseconds) {
  EXPECT_EQ(audio_offset_microseconds(TrimRange::from(0.0, std::nullopt)), 0);
  EXPECT_EQ(audio_offset_microseconds(TrimRange::from(1.5, std::nullopt)), 1'500'000);
  EXPECT_EQ(audio_offset_microseconds(TrimRange::from(0.0000005, std::nullopt)), 1);
}

}  // namespace
}  // namespace veyrin::test
