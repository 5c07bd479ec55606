#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <locale>

#include "app/options.h"

namespace veyrin::test {
namespace {

TEST(TakeOptionValue, TakesTheNextArgumentEvenWhenItBeginsWithADash) {
  const std::array argv{"program", "--output", "--overwrite"};
  int index = 1;
  std::string value;
  std::string error;
  EXPECT_TRUE(take_option_value(index, 3, argv.data(), "--output", value, error));
  EXPECT_EQ(index, 2);
  EXPECT_EQ(value, "--overwrite");
  EXPECT_EQ(error, "");
}

TEST(TakeOptionValue, TakesAnEmptyArgument) {
  const std::array argv{"program", "--output", ""};
  int index = 1;
  std::string value = "before";
  std::string error;
  EXPECT_TRUE(take_option_value(index, 3, argv.data(), "--output", value, error));
  EXPECT_EQ(value, "");
}

TEST(TakeOptionValue, FailsAtTheEndWithTheOptionsSpelling) {
  const std::array argv{"program", "--start"};
  int index = 1;
  std::string value;
  std::string error;
  EXPECT_FALSE(take_option_value(index, 2, argv.data(), "--start", value, error));
  EXPECT_EQ(index, 2);
  EXPECT_EQ(error, "--start requires a value");
}

struct IntegerCase {
  const char* text;
  std::int32_t value;
};

TEST(ParseIntegerOption, ReadsWholeDecimalNumbers) {
  for (const IntegerCase& c :
       {IntegerCase{"0", 0}, IntegerCase{"-0", 0}, IntegerCase{"7", 7}, IntegerCase{"0010", 10},
        IntegerCase{"-1", -1}, IntegerCase{"214748364", 214748364}, IntegerCase{"2147483639", 2147483639},
        IntegerCase{"2147483647", 2147483647}, IntegerCase{"-2147483647", -2147483647},
        IntegerCase{"-2147483648", std::numeric_limits<std::int32_t>::min()},
        IntegerCase{"00000000000000002147483647", 2147483647}}) {
    std::int32_t value = 99;
    std::string error;
    EXPECT_TRUE(parse_integer_option(c.text, "--eye-width", value, error)) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(error, "") << c.text;
  }
}

TEST(ParseIntegerOption, RefusesEverythingElseWithTheTextAsGiven) {
  for (const char* text : {"",
                           "-",
                           "--1",
                           "+5",
                           " 5",
                           "5 ",
                           "5\n",
                           "0x10",
                           "5.0",
                           "1e3",
                           "12a",
                           "a12",
                           "1 2",
                           "1,000",
                           "2147483648",
                           "2147483650",
                           "-2147483649",
                           "99999999999999999999",
                           "-99999999999999999999",
                           "\xd9\xa3"}) {
    std::int32_t value = 99;
    std::string error;
    EXPECT_FALSE(parse_integer_option(text, "--eye-width", value, error)) << text;
    EXPECT_EQ(error, std::string("--eye-width has an invalid numeric value: ") + text);
  }
}

struct RealCase {
  const char* text;
  double value;
};

TEST(ParseRealOption, ReadsWholeFiniteNumbers) {
  for (const RealCase& c :
       {RealCase{"0", 0.0}, RealCase{"1e1", 10.0}, RealCase{"1E+1", 10.0}, RealCase{"2.5", 2.5},
        RealCase{"-1", -1.0}, RealCase{"+5", 5.0}, RealCase{".5", 0.5}, RealCase{"5.", 5.0},
        RealCase{"  7", 7.0}, RealCase{"\t\n7", 7.0}, RealCase{"29.97", 29.97}, RealCase{"1e308", 1e308},
        RealCase{"-0.0", 0.0}}) {
    double value = 99.0;
    std::string error;
    EXPECT_TRUE(parse_real_option(c.text, "--duration", value, error)) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(error, "") << c.text;
  }
}

TEST(ParseRealOption, RefusesEverythingElseWithTheTextAsGiven) {
  for (const char* text :
       {"",    " ",   "-",   ".",     "inf", "-inf",  "infinity", "nan",  "1s",  "1 ",
        "1\n", "1 2", "1,5", "1,000", "1e",  "1e400", "-1e400",   "0x10", "--1", "1.2.3"}) {
    double value = 99.0;
    std::string error;
    EXPECT_FALSE(parse_real_option(text, "--duration", value, error)) << text;
    EXPECT_EQ(error, std::string("--duration has an invalid numeric value: ") + text);
  }
}

/// A global locale in which the decimal separator is a comma, as in much of Europe.
class CommaLocale : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(ParseRealOption, DoesNotDependOnTheGlobalLocale) {
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaLocale));
  double value = 0.0;
  std::string error;
  const bool point_accepted = parse_real_option("1.5", "--start", value, error);
  const bool comma_accepted = parse_real_option("1,5", "--start", value, error);
  std::locale::global(before);
  EXPECT_TRUE(point_accepted);
  EXPECT_FALSE(comma_accepted);
}

}  // namespace
}  // namespace veyrin::test
