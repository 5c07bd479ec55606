#include "common/same_file.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using std::filesystem::path;

class SameFile : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(folder_ / "sub");
    std::ofstream(input_) << "x";
    std::ofstream(folder_ / "copy.mov") << "x";
    std::filesystem::create_symlink("clip.mov", folder_ / "symbolic.mov");
    std::filesystem::create_symlink("symbolic.mov", folder_ / "chain.mov");
    std::filesystem::create_directory_symlink(folder_.path(), folder_ / "sub/back");
    std::filesystem::create_hard_link(input_, folder_ / "hard.mov");
    std::filesystem::create_symlink("nowhere.mov", folder_ / "dangling.mov");
    std::filesystem::create_symlink("loop.mov", folder_ / "loop.mov");
  }

  TemporaryFolder folder_;
  path input_ = folder_ / "clip.mov";
};

TEST_F(SameFile, IsSeenThroughEveryNameAndLink) {
  for (const path& output :
       {input_, folder_ / "./clip.mov", folder_ / "sub/../clip.mov", folder_ / "symbolic.mov",
        folder_ / "chain.mov", folder_ / "sub/back/clip.mov", folder_ / "hard.mov"}) {
    EXPECT_TRUE(output_is_input(input_, output)) << output;
    EXPECT_TRUE(output_is_input(output, input_)) << output;
    std::string error;
    EXPECT_FALSE(keep_input_intact(input_, output, error)) << output;
    EXPECT_EQ(error, "output would replace its own input: " + output.string());
  }
}

TEST_F(SameFile, IsSeenFromARelativeName) {
  const path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  const bool same = output_is_input("clip.mov", input_);
  std::filesystem::current_path(before);
  EXPECT_TRUE(same);
}

TEST_F(SameFile, OtherFilesAndMissingOnesAreNot) {
  for (const path& output : {folder_ / "copy.mov", folder_ / "new.mov", folder_ / "missing/clip.mov",
                             folder_ / "clip.mov/clip.mov", folder_ / "dangling.mov", folder_ / "loop.mov",
                             folder_ / std::string(300, 'n'), folder_.path(), path()}) {
    EXPECT_FALSE(output_is_input(input_, output)) << output;
    std::string error;
    EXPECT_TRUE(keep_input_intact(input_, output, error)) << output;
    EXPECT_EQ(error, "");
  }
}

TEST_F(SameFile, AMissingInputHasNoOutput) {
  EXPECT_FALSE(output_is_input(folder_ / "missing.mov", folder_ / "missing.mov"));
  EXPECT_FALSE(output_is_input("", folder_ / "new.mov"));
  EXPECT_FALSE(output_is_input("", ""));
}

}  // namespace
}  // namespace veyrin::test
