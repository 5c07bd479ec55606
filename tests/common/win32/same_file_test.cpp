#include "common/same_file.h"

#include <gtest/gtest.h>

#include "common/platform/path_text.h"
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

TEST_F(SameFile, IsSeenThroughEveryName) {
  const path other_separators(input_.generic_wstring());
  for (const path& output : {input_, other_separators, folder_ / "sub/../THE \xe8\xa7\x86\xe9\xa2\x91.MOV",
                             folder_ / "hard.mov"}) {
    std::string error;
    EXPECT_FALSE(keep_input_intact(input_, output, error)) << output;
    EXPECT_EQ(error, "output would replace its own input: " + platform::path_to_utf8(output));
  }
}

TEST_F(SameFile, OtherFilesAndMissingOnesAreNot) {
  for (const path& output : {folder_ / "copy.mov", folder_ / "new.mov", folder_ / "missing/the.mov",
                             folder_ / std::string(300, 'n'), folder_.path(), path()}) {
    std::string error;
    EXPECT_TRUE(keep_input_intact(input_, output, error)) << output;
    EXPECT_EQ(error, "");
  }
}

}  // namespace
}  // namespace veyrin::test
