#include "common/platform/files.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

TEST(ReplaceFile, LeavesTheOldContentToItsReaders) {
  const TemporaryFolder folder;
  const auto source = folder / "movie.tmp";
  const auto target = folder / "movie";
  std::ofstream(source) << "new";
  std::ofstream(target) << "old";
  std::ifstream reader(target);
  std::string reason;
  ASSERT_TRUE(platform::replace_file(source, target, reason)) << reason;
  std::string text;
  reader >> text;
  EXPECT_EQ(text, "old") << "the old file was written over instead of being replaced";
}

}  // namespace
}  // namespace veyrin::test
