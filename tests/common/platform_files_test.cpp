#include <gtest/gtest.h>

#include <fstream>
#include <system_error>

#include "common/platform/files.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using test::file_text;
using test::TemporaryFolder;

std::filesystem::path write_file(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

TEST(ReplaceFile, PutsTheNewFileInThePlaceOfTheOldOne) {
  const TemporaryFolder folder;
  const auto source = write_file(folder / "movie.tmp", "new");
  const auto target = write_file(folder / "movie", "old and longer");
  std::string reason;
  ASSERT_TRUE(replace_file(source, target, reason)) << reason;
  EXPECT_EQ(file_text(target), "new");
  EXPECT_FALSE(std::filesystem::exists(source));
}

TEST(ReplaceFile, NeedsNoOldFile) {
  const TemporaryFolder folder;
  const auto source = write_file(folder / "movie.tmp", "new");
  std::string reason;
  ASSERT_TRUE(replace_file(source, folder / "movie", reason)) << reason;
  EXPECT_EQ(file_text(folder / "movie"), "new");
}

TEST(ReplaceFile, WorksOnNamesWithoutAFolder) {
  const TemporaryFolder folder;
  const auto previous = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  write_file("movie.tmp", "new");
  std::string reason;
  const bool replaced = replace_file("movie.tmp", "movie", reason);
  std::filesystem::current_path(previous);
  EXPECT_TRUE(replaced) << reason;
  EXPECT_EQ(file_text(folder / "movie"), "new");
}

TEST(ReplaceFile, TakesAnyFileName) {
  const TemporaryFolder folder;
  const auto home = folder / "my videos \xc3\xa9 \xe8\xa7\x86\xe9\xa2\x91";
  std::filesystem::create_directory(home);
  const auto source = write_file(home / path_from_utf8("\xf0\x9f\x8e\xa5 new.tmp"), "new");
  const auto target = write_file(home / path_from_utf8("\xf0\x9f\x8e\xa5 movie"), "old");
  std::string reason;
  ASSERT_TRUE(replace_file(source, target, reason)) << reason;
  EXPECT_EQ(file_text(target), "new");
}

TEST(ReplaceFile, WithoutANewFileKeepsTheOldOneAndTellsTheReason) {
  const TemporaryFolder folder;
  const auto target = write_file(folder / "movie", "old");
  std::string reason;
  EXPECT_FALSE(replace_file(folder / "movie.tmp", target, reason));
  EXPECT_EQ(reason, std::system_category().message(static_cast<int>(std::errc::no_such_file_or_directory)));
  EXPECT_EQ(file_text(target), "old");
}

TEST(ReplaceFile, KeepsTheNewFileWhenItsPlaceIsTakenByAFolder) {
  const TemporaryFolder folder;
  const auto source = write_file(folder / "movie.tmp", "new");
  std::filesystem::create_directory(folder / "movie");
  std::string reason;
  EXPECT_FALSE(replace_file(source, folder / "movie", reason));
  EXPECT_FALSE(reason.empty());
  EXPECT_EQ(file_text(source), "new");
}

}  // namespace
}  // namespace veyrin::test
