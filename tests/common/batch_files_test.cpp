#include <gtest/gtest.h>

#include "common/output_guard.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using std::filesystem::path;

class Batch : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"first.mp4", "second.mp4", "written.mov"}) std::ofstream(folder_ / name) << name;
    std::filesystem::create_hard_link(folder_ / "second.mp4", folder_ / "link.mp4");
    std::filesystem::create_hard_link(folder_ / "written.mov", folder_ / "written link.mov");
    batch_.add_input(folder_ / "first.mp4");
    batch_.add_input(folder_ / "second.mp4");
    batch_.add_output(folder_ / "written.mov");
  }

  std::string refusal(const std::string& output) {
    std::string error;
    return batch_.keep_intact(folder_ / "first.mp4", folder_ / output, error) ? "" : error;
  }
  std::string text(const std::string& name) { return (folder_ / name).string(); }

  TemporaryFolder folder_;
  BatchFiles batch_;
};

TEST_F(Batch, LetsNewFilesPass) {
  EXPECT_EQ(refusal("new.mov"), "");
}

TEST_F(Batch, KeepsTheInputAtHand) {
  EXPECT_EQ(refusal("first.mp4"), "output would replace its own input: " + text("first.mp4"));
}

TEST_F(Batch, KeepsEveryOtherInputUnderAnyName) {
  EXPECT_EQ(refusal("second.mp4"), "output would replace another input of this run: " + text("second.mp4") +
                                       " is " + text("second.mp4"));
  EXPECT_EQ(refusal("link.mp4"), "output would replace another input of this run: " + text("link.mp4") +
                                     " is " + text("second.mp4"));
}

TEST_F(Batch, KeepsWhatItHasWritten) {
  EXPECT_EQ(refusal("written.mov"), "output would replace another output of this run: " +
                                        text("written.mov") + " is " + text("written.mov"));
  EXPECT_EQ(refusal("written link.mov"), "output would replace another output of this run: " +
                                             text("written link.mov") + " is " + text("written.mov"));
}

TEST_F(Batch, IsAskedBeforeAnythingElseOfTheOutput) {
  for (const bool overwrite : {false, true}) {
    std::string error;
    EXPECT_FALSE(
        prepare_output_path(folder_ / "first.mp4", folder_ / "second.mp4", overwrite, batch_, error));
    EXPECT_EQ(error.substr(0, 47), "output would replace another input of this run:");
  }
}

TEST(OutputPath, NeedsAFileName) {
  const TemporaryFolder folder;
  for (const std::string& name : {std::string(), folder.path().string() + "/new/"}) {
    std::string error;
    EXPECT_FALSE(prepare_output_path({}, name, /*overwrite=*/true, BatchFiles(), error));
    EXPECT_EQ(error, "output path has no file name: \"" + name + "\"");
  }
}

}  // namespace
}  // namespace veyrin::test
