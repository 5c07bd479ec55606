#include "common/platform/wildcards.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/platform/files.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using Names = std::vector<std::string>;

/// A folder with files of many names.
class ExpandWildcards : public testing::Test {
 protected:
  ExpandWildcards() {
    for (const char* name :
         {"b.mp4", "A.MP4", "c.mov", "no_dot", "long.mp4x", ".hidden.mp4", "\xc3\x84.mp4"}) {
      std::ofstream(folder_ / name) << "content";
    }
    std::filesystem::create_directory(folder_ / "folder.mp4");
    SetFileAttributesW((folder_ / ".hidden.mp4").c_str(), FILE_ATTRIBUTE_HIDDEN);
  }

  /// What the pattern in the folder stands for, without the folder before each name.
  Names expanded(const std::string& pattern, char separator = '\\') {
    const std::string before = platform::path_to_utf8(folder_.path()) + separator;
    Names names;
    for (const std::string& name : platform::expand_wildcards(before + pattern)) {
      EXPECT_EQ(name.substr(0, before.size()), before);
      names.push_back(name.substr(before.size()));
    }
    return names;
  }

  TemporaryFolder folder_;
};

TEST_F(ExpandWildcards, GivesVisibleFilesInOrder) {
  EXPECT_EQ(expanded("*.mp4"), (Names{"A.MP4", "b.mp4", "\xc3\x84.mp4"}));
  EXPECT_EQ(expanded("?.mp4"), (Names{"A.MP4", "b.mp4", "\xc3\x84.mp4"}));
  EXPECT_EQ(expanded("*.m??"), (Names{"A.MP4", "b.mp4", "c.mov", "\xc3\x84.mp4"}));
  EXPECT_EQ(expanded("*.*"), (Names{"A.MP4", "b.mp4", "c.mov", "long.mp4x", "no_dot", "\xc3\x84.mp4"}));
}

TEST_F(ExpandWildcards, TakesCapitalAndSmallLettersForOne) {
  EXPECT_EQ(expanded("C*.MOV"), Names{"c.mov"});
  EXPECT_EQ(expanded("\xc3\xa4*"), Names{"\xc3\x84.mp4"});
}

TEST_F(ExpandWildcards, KeepsTheFolderAsItWasWritten) {
  EXPECT_EQ(expanded("c.*", '/'), Names{"c.mov"});
  EXPECT_EQ(platform::expand_wildcards(R"(\\?\)" + platform::path_to_utf8(folder_ / "c.*")),
            Names{R"(\\?\)" + platform::path_to_utf8(folder_ / "c.mov")});
}

TEST_F(ExpandWildcards, LeavesTheNameWhereNothingFits) {
  EXPECT_EQ(expanded("*.avi"), Names{"*.avi"});
  EXPECT_EQ(expanded(R"(missing\*.mp4)"), Names{R"(missing\*.mp4)"});
  EXPECT_EQ(expanded("b.mp4"), Names{"b.mp4"});
  EXPECT_EQ(expanded(R"(*\b.mp4)"), Names{R"(*\b.mp4)"});
  EXPECT_EQ(platform::expand_wildcards(""), Names{""});
  EXPECT_EQ(platform::expand_wildcards(R"(\\?\C:\clip.mp4)"), Names{R"(\\?\C:\clip.mp4)"});
}

TEST_F(ExpandWildcards, NamesInTheWorkingFolderCannotBeTakenForOptions) {
  std::ofstream(folder_ / "-start.avi") << "content";
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  EXPECT_EQ(platform::expand_wildcards("*.avi"), Names{R"(.\-start.avi)"});
  EXPECT_EQ(platform::expand_wildcards("c*"), Names{"c.mov"});
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace veyrin::test
