#include <gtest/gtest.h>

#include "media/bitrate.h"

namespace veyrin::test {
namespace {

struct RateCase {
  const char* text;
  std::int64_t bits_per_second;
};

TEST(SpatialBitrate, ReadsNumbersWithTheirMultiplier) {
  for (const RateCase& c : {
           RateCase{"55M", 55'000'000},
           RateCase{"2.5g", 2'500'000'000},
           RateCase{"90", 90},
           RateCase{"90m", 90'000'000},
           RateCase{"1G", 1'000'000'000},
           RateCase{"0.5k", 500},
           RateCase{"64K", 64'000},
           RateCase{".5K", 500},
           RateCase{"5.", 5},
           RateCase{"1e3", 1000},
           RateCase{"1e3k", 1'000'000},
           RateCase{"1E+2M", 100'000'000},
           RateCase{"25e-1k", 2500},
           RateCase{"0007", 7},
       }) {
    std::int64_t rate = -1;
    std::string error;
    EXPECT_TRUE(parse_spatial_bitrate(c.text, rate, error)) << c.text << ": " << error;
    EXPECT_EQ(rate, c.bits_per_second) << c.text;
    EXPECT_EQ(error, "") << c.text;
  }
}

TEST(SpatialBitrate, RoundsHalvesAwayFromZero) {
  for (const RateCase& c : {RateCase{"0.5", 1}, RateCase{"1.5", 2}, RateCase{"2.5", 3}, RateCase{"2.4999", 2},
                            RateCase{"0.49", 0}, RateCase{"0.0025k", 3}}) {
    std::int64_t rate = -1;
    std::string error;
    EXPECT_TRUE(parse_spatial_bitrate(c.text, rate, error)) << c.text << ": " << error;
    EXPECT_EQ(rate, c.bits_per_second) << c.text;
  }
}

TEST(SpatialBitrate, ReachesTheLargestRate) {
  for (const RateCase& c : {
           RateCase{"9223372036854774784", 9223372036854774784},  // the double below 2^63
           RateCase{"9223372036854775807", 9223372036854775807},
           RateCase{"9223372036854775808", 9223372036854775807},
           RateCase{"9223372036.854775808G", 9223372036854775807},
       }) {
    std::int64_t rate = -1;
    std::string error;
    EXPECT_TRUE(parse_spatial_bitrate(c.text, rate, error)) << c.text << ": " << error;
    EXPECT_EQ(rate, c.bits_per_second) << c.text;
  }
}

struct RefusedCase {
  const char* text;
  const char* error;
};

TEST(SpatialBitrate, RefusesOtherTextsWithTheTextAsGiven) {
  for (const RefusedCase& c : {
           RefusedCase{"", "spatial bitrate cannot be empty"},
           RefusedCase{"M", "invalid spatial bitrate: M"},
           RefusedCase{"abc", "invalid spatial bitrate: abc"},
           RefusedCase{"-", "invalid spatial bitrate: -"},
           RefusedCase{".", "invalid spatial bitrate: ."},
           RefusedCase{"-.M", "invalid spatial bitrate: -.M"},
           RefusedCase{"+5M", "invalid spatial bitrate: +5M"},
           RefusedCase{" 5M", "invalid spatial bitrate:  5M"},
           RefusedCase{"--5", "invalid spatial bitrate: --5"},
           RefusedCase{"inf", "invalid spatial bitrate: inf"},
           RefusedCase{"-nan", "invalid spatial bitrate: -nan"},
           RefusedCase{"1e400", "invalid spatial bitrate: 1e400"},
           RefusedCase{"1e-400", "invalid spatial bitrate: 1e-400"},
           RefusedCase{"55MB", "invalid spatial bitrate: 55MB"},
           RefusedCase{"55 M", "invalid spatial bitrate: 55 M"},
           RefusedCase{"0x10", "invalid spatial bitrate: 0x10"},
           RefusedCase{"1.2.3", "invalid spatial bitrate: 1.2.3"},
           RefusedCase{"55x", "invalid spatial bitrate suffix: 55x"},
           RefusedCase{"55 ", "invalid spatial bitrate suffix: 55 "},
           RefusedCase{"5e", "invalid spatial bitrate suffix: 5e"},
           RefusedCase{"5,", "invalid spatial bitrate suffix: 5,"},
           RefusedCase{"0", "spatial bitrate is out of range: 0"},
           RefusedCase{"-0.0", "spatial bitrate is out of range: -0.0"},
           RefusedCase{"-5M", "spatial bitrate is out of range: -5M"},
           RefusedCase{"1e30g", "spatial bitrate is out of range: 1e30g"},
           RefusedCase{"1e308G", "spatial bitrate is out of range: 1e308G"},
           RefusedCase{"9223372036854777856", "spatial bitrate is out of range: 9223372036854777856"},
       }) {
    std::int64_t rate = -1;
    std::string error;
    EXPECT_FALSE(parse_spatial_bitrate(c.text, rate, error)) << c.text;
    EXPECT_EQ(error, c.error);
    EXPECT_EQ(rate, -1) << c.text;
  }
}

}  // namespace
}  // namespace veyrin::test
