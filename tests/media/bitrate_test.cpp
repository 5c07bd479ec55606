#include "media/bitrate.h"

#include <gtest/gtest.h>

namespace veyrin::test {
namespace {

struct ValidRate {
  const char* text;
  std::int64_t bits_per_second;
};

constexpr ValidRate valid_rates[] = {
    {"12", 12},
    {"12k", 12000},
    {"12K", 12000},
    {"12m", 12000000},
    {"12M", 12000000},
    {"1", 1},
    {"007k", 7000},
    {"55M", 55000000},
    {"90M", 90000000},
    {"9223372036854775807", 9223372036854775807},
    {"9223372036854775k", 9223372036854775000},
    {"9223372036854M", 9223372036854000000},
};

TEST(Bitrate, ReadsWholeNumbersWithTheirSuffix) {
  for (const ValidRate& rate : valid_rates) {
    std::int64_t value = 0;
    std::string error;
    EXPECT_TRUE(parse_bitrate(rate.text, value, error)) << rate.text << ": " << error;
    EXPECT_EQ(value, rate.bits_per_second) << rate.text;
    EXPECT_EQ(error, "");
  }
}

constexpr const char* invalid_rates[] = {
    "1.5M",
    "0M",
    "0",
    "-5M",
    "-1",
    "M",
    "k",
    "12G",
    "12bps",
    "12kk",
    "12Mk",
    "12 M",
    " 12",
    "12 ",
    "+12",
    "0x10",
    "1e6",
    "-",
    "-M",
    "twelve",
    "1,5M",
    "12M ",
    "\n",
    "1\n2",
    "9223372036854775808",
    "9223372036854776k",
    "9223372036855M",
    "99999999999999999999999999999999",
};

TEST(Bitrate, RefusesEverythingElseWithTheTextAsGiven) {
  for (const char* text : invalid_rates) {
    std::int64_t value = 7;
    std::string error;
    EXPECT_FALSE(parse_bitrate(text, value, error)) << text;
    EXPECT_EQ(error, std::string("invalid bitrate: ") + text);
    EXPECT_EQ(value, 7) << text;
  }
}

TEST(Bitrate, EmptyTextHasItsOwnMessage) {
  std::int64_t value = 0;
  std::string error;
  EXPECT_FALSE(parse_bitrate("", value, error));
  EXPECT_EQ(error, "bitrate cannot be empty");
}

}  // namespace
}  // namespace veyrin::test
