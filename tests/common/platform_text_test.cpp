#include <gtest/gtest.h>

#include <cstdlib>

#include "common/platform/environment.h"
#include "common/platform/path_text.h"

namespace veyrin::platform {
namespace {

TEST(PathText, RoundTripsUtf8) {
  for (const char* text : {"", "clip.mov", "a/b c/d.mov", "\xc3\xa9t\xc3\xa9/\xe2\x82\xac.mov",
                           "\xf0\x9f\x8e\xa5.mp4", ".", "..", "/", "trailing/", "dou//ble"}) {
    EXPECT_EQ(path_to_utf8(path_from_utf8(text)), text);
  }
}

TEST(PathText, NamesTheFileOfThatText) {
  EXPECT_EQ(path_from_utf8("folder/\xc3\xa9.mov").filename(), std::filesystem::path(u8"\u00e9.mov"));
  EXPECT_EQ(path_to_utf8(std::filesystem::path(u8"\u20ac") / "x"), "\xe2\x82\xac/x");
}

TEST(Environment, GivesTheValueOrNothing) {
  ASSERT_EQ(setenv("VEYRIN_TEST_VALUE", "caf\xc3\xa9", 1), 0);
  EXPECT_EQ(environment_value("VEYRIN_TEST_VALUE"), "caf\xc3\xa9");
  ASSERT_EQ(setenv("VEYRIN_TEST_VALUE", "", 1), 0);
  EXPECT_EQ(environment_value("VEYRIN_TEST_VALUE"), "");
  ASSERT_EQ(unsetenv("VEYRIN_TEST_VALUE"), 0);
  EXPECT_EQ(environment_value("VEYRIN_TEST_VALUE"), std::nullopt);
}

TEST(Environment, ASwitchIsOnForExactlyOne) {
  ASSERT_EQ(unsetenv("VEYRIN_TEST_SWITCH"), 0);
  EXPECT_FALSE(environment_switch("VEYRIN_TEST_SWITCH"));
  for (const char* off : {"", "0", "true", "yes", "11", "1 ", " 1", "01", "1\n"}) {
    ASSERT_EQ(setenv("VEYRIN_TEST_SWITCH", off, 1), 0);
    EXPECT_FALSE(environment_switch("VEYRIN_TEST_SWITCH")) << "\"" << off << "\"";
  }
  ASSERT_EQ(setenv("VEYRIN_TEST_SWITCH", "1", 1), 0);
  EXPECT_TRUE(environment_switch("VEYRIN_TEST_SWITCH"));
  ASSERT_EQ(unsetenv("VEYRIN_TEST_SWITCH"), 0);
}

}  // namespace
}  // namespace veyrin::platform
