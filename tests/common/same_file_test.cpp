#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "common/output_guard.h"
#include "common/platform/files.h"
#include "tests/common/same_file_names.h"
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
    std::filesystem::create_hard_link(input_, folder_ / "hard.mov");
  }

  TemporaryFolder folder_;
  path input_ = folder_ / "the \xe8\xa7\x86\xe9\xa2\x91.mov";
};

TEST_F(SameFile, IsSeenThroughEveryNameAndLink) {
  std::vector<path> outputs = names_of_same_file(input_);
  outputs.insert(outputs.end(), {input_, folder_ / "." / input_.filename(),
                                 folder_ / "sub/.." / input_.filename(), folder_ / "hard.mov"});
  for (const path& output : outputs) {
    EXPECT_TRUE(is_same_file(input_, output)) << output;
    EXPECT_TRUE(is_same_file(output, input_)) << output;
    std::string error;
    EXPECT_FALSE(BatchFiles().keep_intact(input_, output, error)) << output;
    EXPECT_EQ(error, "output would replace its own input: " + platform::path_to_utf8(output));
  }
}

TEST_F(SameFile, IsSeenFromARelativeName) {
  const path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  const bool same = is_same_file(input_.filename(), input_);
  std::filesystem::current_path(before);
  EXPECT_TRUE(same);
}

TEST_F(SameFile, OtherFilesAndMissingOnesAreNot) {
  std::vector<path> outputs = names_of_other_files(folder_.path());
  outputs.insert(outputs.end(),
                 {folder_ / "copy.mov", folder_ / "new.mov", folder_ / "missing" / input_.filename(),
                  input_ / input_.filename(), folder_ / std::string(300, 'n'), folder_.path(), path()});
  for (const path& output : outputs) {
    EXPECT_FALSE(is_same_file(input_, output)) << output;
    std::string error;
    EXPECT_TRUE(BatchFiles().keep_intact(input_, output, error)) << output;
    EXPECT_EQ(error, "");
  }
}

TEST_F(SameFile, AMissingInputHasNoOutput) {
  EXPECT_FALSE(is_same_file(folder_ / "missing.mov", folder_ / "missing.mov"));
  EXPECT_FALSE(is_same_file("", folder_ / "new.mov"));
  EXPECT_FALSE(is_same_file("", ""));
}

}  // namespace
}  // namespace veyrin::test
