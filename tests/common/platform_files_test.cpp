#include <gtest/gtest.h>

#include <fstream>

#include "common/platform/files.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::platform {
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

TEST(ReplaceFile, LeavesTheOldContentToItsReaders) {
  const TemporaryFolder folder;
  const auto source = write_file(folder / "movie.tmp", "new");
  const auto target = write_file(folder / "movie", "old");
  std::ifstream reader(target);
  std::string reason;
  ASSERT_TRUE(replace_file(source, target, reason)) << reason;
  std::string text;
  reader >> text;
  EXPECT_EQ(text, "old") << "the old file was written over instead of being replaced";
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

TEST(ReplaceFile, WithoutANewFileKeepsTheOldOneAndTellsTheReason) {
  const TemporaryFolder folder;
  const auto target = write_file(folder / "movie", "old");
  std::string reason;
  EXPECT_FALSE(replace_file(folder / "movie.tmp", target, reason));
  EXPECT_EQ(reason, "No such file or directory");
  EXPECT_EQ(file_text(target), "old");
}

TEST(ReplaceFile, KeepsTheNewFileWhenItsPlaceIsTakenByAFolder) {
  const TemporaryFolder folder;
  const auto source = write_file(folder / "movie.tmp", "new");
  std::filesystem::create_directory(folder / "movie");
  std::string reason;
  EXPECT_FALSE(replace_file(source, folder / "movie", reason));
  EXPECT_EQ(reason, "Is a directory");
  EXPECT_EQ(file_text(source), "new");
}

}  // namespace
}  // namespace veyrin::platform
