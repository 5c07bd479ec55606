#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "common/platform/program.h"
#include "tests/support/environment.h"

namespace veyrin::test {
namespace {

TEST(Environment, GivesTheValueOrNothing) {
  set_variable("VEYRIN_TEST_VALUE", "caf\xc3\xa9 \xe2\x82\xac");
  EXPECT_EQ(platform::environment_value("VEYRIN_TEST_VALUE"), "caf\xc3\xa9 \xe2\x82\xac");
  set_variable("VEYRIN_TEST_VALUE", std::string(5000, 'x'));
  EXPECT_EQ(platform::environment_value("VEYRIN_TEST_VALUE"), std::string(5000, 'x'));
  set_variable("VEYRIN_TEST_VALUE", "");
  EXPECT_EQ(platform::environment_value("VEYRIN_TEST_VALUE"), "");
  remove_variable("VEYRIN_TEST_VALUE");
  EXPECT_EQ(platform::environment_value("VEYRIN_TEST_VALUE"), std::nullopt);
}

TEST(Environment, ASwitchIsOnForExactlyOne) {
  remove_variable("VEYRIN_TEST_SWITCH");
  EXPECT_FALSE(platform::environment_switch("VEYRIN_TEST_SWITCH"));
  for (const char* off : {"", "0", "true", "yes", "11", "1 ", " 1", "01", "1\n"}) {
    const EnvironmentVariable variable("VEYRIN_TEST_SWITCH", off);
    EXPECT_FALSE(platform::environment_switch("VEYRIN_TEST_SWITCH")) << "\"" << off << "\"";
  }
  const EnvironmentVariable variable("VEYRIN_TEST_SWITCH", "1");
  EXPECT_TRUE(platform::environment_switch("VEYRIN_TEST_SWITCH"));
}

TEST(ModulePath, NamesTheRunningProgram) {
  const std::filesystem::path path = platform::module_path();
  EXPECT_TRUE(path.is_absolute());
  EXPECT_EQ(path.filename(), platform::executable_file_name("common_platform_test"));
  EXPECT_TRUE(std::filesystem::is_regular_file(path));
}

}  // namespace
}  // namespace veyrin::test
