#include <gtest/gtest.h>

#include "common/platform/files.h"
#include "common/platform/program.h"
#include "tests/support/environment.h"

namespace veyrin::test {
namespace {

TEST(PathText, RoundTripsUtf8) {
  for (const char* text : {"", "clip.mov", "a/b c/d.mov", "\xc3\xa9t\xc3\xa9/\xe2\x82\xac.mov",
                           "\xf0\x9f\x8e\xa5.mp4", ".", "..", "/", "trailing/", "dou//ble"}) {
    EXPECT_EQ(path_to_utf8(path_from_utf8(text)), text);
  }
}

TEST(PathText, NamesTheFileOfThatText) {
  EXPECT_EQ(path_from_utf8("folder/\xc3\xa9.mov").filename(), std::filesystem::path(u8"\u00e9.mov"));
  const char separator = static_cast<char>(std::filesystem::path::preferred_separator);
  EXPECT_EQ(path_to_utf8(std::filesystem::path(u8"\u20ac") / "x"),
            std::string("\xe2\x82\xac") + separator + "x");
}

TEST(Environment, GivesTheValueOrNothing) {
  test::set_variable("VEYRIN_TEST_VALUE", "caf\xc3\xa9 \xe2\x82\xac");
  EXPECT_EQ(environment_value("VEYRIN_TEST_VALUE"), "caf\xc3\xa9 \xe2\x82\xac");
  test::set_variable("VEYRIN_TEST_VALUE", std::string(5000, 'x'));
  EXPECT_EQ(environment_value("VEYRIN_TEST_VALUE"), std::string(5000, 'x'));
  test::set_variable("VEYRIN_TEST_VALUE", "");
  EXPECT_EQ(environment_value("VEYRIN_TEST_VALUE"), "");
  test::remove_variable("VEYRIN_TEST_VALUE");
  EXPECT_EQ(environment_value("VEYRIN_TEST_VALUE"), std::nullopt);
}

TEST(Environment, ASwitchIsOnForExactlyOne) {
  test::remove_variable("VEYRIN_TEST_SWITCH");
  EXPECT_FALSE(environment_switch("VEYRIN_TEST_SWITCH"));
  for (const char* off : {"", "0", "true", "yes", "11", "1 ", " 1", "01", "1\n"}) {
    const test::EnvironmentVariable variable("VEYRIN_TEST_SWITCH", off);
    EXPECT_FALSE(environment_switch("VEYRIN_TEST_SWITCH")) << "\"" << off << "\"";
  }
  const test::EnvironmentVariable variable("VEYRIN_TEST_SWITCH", "1");
  EXPECT_TRUE(environment_switch("VEYRIN_TEST_SWITCH"));
}

}  // namespace
}  // namespace veyrin::test
