#include <gtest/gtest.h>

#include "common/platform/program.h"

namespace veyrin::test {
namespace {

TEST(ModulePath, NamesTheRunningProgram) {
  const std::filesystem::path path = module_path();
  EXPECT_TRUE(path.is_absolute());
  EXPECT_EQ(path.filename(), executable_file_name("common_platform_test"));
  EXPECT_TRUE(std::filesystem::is_regular_file(path));
}

}  // namespace
}  // namespace veyrin::test
