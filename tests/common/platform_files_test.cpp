#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "common/platform/files.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

TEST(PathText, RoundTripsUtf8) {
  for (const char* text : {"", "clip.mov", "a/b c/d.mov", "\xc3\xa9t\xc3\xa9/\xe2\x82\xac.mov",
                           "\xf0\x9f\x8e\xa5.mp4", ".", "..", "/", "trailing/", "dou//ble"}) {
    EXPECT_EQ(platform::path_to_utf8(platform::path_from_utf8(text)), text);
  }
}

TEST(PathText, NamesTheFileOfThatText) {
  EXPECT_EQ(platform::path_from_utf8("folder/\xc3\xa9.mov").filename(),
            std::filesystem::path(u8"\u00e9.mov"));
  const char separator = static_cast<char>(std::filesystem::path::preferred_separator);
  EXPECT_EQ(platform::path_to_utf8(std::filesystem::path(u8"\u20ac") / "x"),
            std::string("\xe2\x82\xac") + separator + "x");
}

std::filesystem::path write_file(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

TEST(ReplaceFile, PutsTheNewFileInThePlaceOfTheOldOne) {
  const TemporaryFolder folder;
  const auto source = write_file(folder / "movie.tmp", "new");
  const auto target = write_file(folder / "movie", "old and longer");
  std::string reason;
  ASSERT_TRUE(platform::replace_file(source, target, reason)) << reason;
  EXPECT_EQ(file_text(target), "new");
  EXPECT_FALSE(std::filesystem::exists(source));
}

TEST(ReplaceFile, NeedsNoOldFile) {
  const TemporaryFolder folder;
  const auto source = write_file(folder / "movie.tmp", "new");
  std::string reason;
  ASSERT_TRUE(platform::replace_file(source, folder / "movie", reason)) << reason;
  EXPECT_EQ(file_text(folder / "movie"), "new");
}

TEST(ReplaceFile, WorksOnNamesWithoutAFolder) {
  const TemporaryFolder folder;
  const auto previous = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  write_file("movie.tmp", "new");
  std::string reason;
  const bool replaced = platform::replace_file("movie.tmp", "movie", reason);
  std::filesystem::current_path(previous);
  EXPECT_TRUE(replaced) << reason;
  EXPECT_EQ(file_text(folder / "movie"), "new");
}

TEST(ReplaceFile, TakesAnyFileName) {
  const TemporaryFolder folder;
  const auto home = folder / "my videos \xc3\xa9 \xe8\xa7\x86\xe9\xa2\x91";
  std::filesystem::create_directory(home);
  const auto source = write_file(home / platform::path_from_utf8("\xf0\x9f\x8e\xa5 new.tmp"), "new");
  const auto target = write_file(home / platform::path_from_utf8("\xf0\x9f\x8e\xa5 movie"), "old");
  std::string reason;
  ASSERT_TRUE(platform::replace_file(source, target, reason)) << reason;
  EXPECT_EQ(file_text(target), "new");
}

TEST(ReplaceFile, WithoutANewFileKeepsTheOldOneAndTellsTheReason) {
  const TemporaryFolder folder;
  const auto target = write_file(folder / "movie", "old");
  std::string reason;
  EXPECT_FALSE(platform::replace_file(folder / "movie.tmp", target, reason));
  EXPECT_EQ(reason, std::system_category().message(static_cast<int>(std::errc::no_such_file_or_directory)));
  EXPECT_EQ(file_text(target), "old");
}

TEST(ReplaceFile, KeepsTheNewFileWhenItsPlaceIsTakenByAFolder) {
  const TemporaryFolder folder;
  const auto source = write_file(folder / "movie.tmp", "new");
  std::filesystem::create_directory(folder / "movie");
  std::string reason;
  EXPECT_FALSE(platform::replace_file(source, folder / "movie", reason));
  EXPECT_FALSE(reason.empty());
  EXPECT_EQ(file_text(source), "new");
}

}  // namespace
}  // namespace veyrin::test
