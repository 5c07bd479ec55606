#include "common/platform/files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <system_error>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

// Windows moves nothing onto a file that someone reads.
TEST(ReplaceFile, KeepsBothFilesWhileTheOldOneIsOpen) {
  const TemporaryFolder folder;
  const auto source = folder / "movie.tmp";
  const auto target = folder / "movie";
  std::ofstream(source) << "new";
  std::ofstream(target) << "old";
  std::string reason;
  {
    const std::ifstream reader(target);
    EXPECT_FALSE(platform::replace_file(source, target, reason));
  }
  EXPECT_EQ(reason, std::system_category().message(ERROR_ACCESS_DENIED));
  EXPECT_EQ(file_text(target), "old");
  EXPECT_TRUE(platform::replace_file(source, target, reason)) << reason;
  EXPECT_EQ(file_text(target), "new");
}

}  // namespace
}  // namespace veyrin::test
