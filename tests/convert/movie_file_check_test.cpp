#include <gtest/gtest.h>

#include <fstream>

#include "media/movie_file.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

std::string big_endian(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift & 0xFFU);
  return text;
}

std::string box(const std::string& type, const std::string& content) {
  return big_endian(content.size() + 8, 4) + type + content;
}

std::string large_box(const std::string& type, const std::string& content) {
  return big_endian(1, 4) + type + big_endian(content.size() + 16, 8) + content;
}

bool judged(const std::string& bytes) {
  const test::TemporaryFolder folder;
  std::ofstream(folder / "movie", std::ios::binary) << bytes;
  return is_cut_off_movie(folder / "movie");
}

const std::string file_type = box("ftyp", "isomxxxx");
const std::string media = box("mdat", std::string(100, 'x'));
const std::string movie_index = box("moov", "index");

TEST(CutOffMovie, WholeFilesAreNot) {
  EXPECT_FALSE(judged(file_type + movie_index + media));
  EXPECT_FALSE(judged(file_type + box("free", "") + media + movie_index));
  EXPECT_FALSE(judged(file_type + movie_index + large_box("mdat", "media")));
  EXPECT_FALSE(judged(file_type + movie_index + big_endian(0, 4) + "mdat" + "to the end"));
}

TEST(CutOffMovie, FilesWithoutIndexAre) {
  EXPECT_TRUE(judged(file_type));
  EXPECT_TRUE(judged(file_type + media));
  EXPECT_TRUE(judged(file_type + big_endian(0, 4) + "mdat" + "to the end"));
}

TEST(CutOffMovie, EveryTruncationIsUnlessItIsNoMovieYet) {
  for (const std::string& whole : {file_type + movie_index + media, file_type + media + movie_index,
                                   file_type + movie_index + large_box("mdat", "media")}) {
    for (std::size_t size = file_type.size(); size < whole.size(); ++size) {
      const bool ends_behind_index =
          size == (file_type + movie_index).size() && whole.substr(20, 4) == "moov";
      EXPECT_EQ(judged(whole.substr(0, size)), !ends_behind_index) << size << " of " << whole.size();
    }
  }
}

TEST(CutOffMovie, SizesThatCannotBeAre) {
  EXPECT_TRUE(judged(file_type + movie_index + big_endian(7, 4) + "mdat"));
  EXPECT_TRUE(judged(file_type + movie_index + big_endian(1, 4) + "mdat" + big_endian(15, 8)));
  EXPECT_TRUE(judged(file_type + movie_index + big_endian(1, 4) + "mdat" + std::string(8, '\xFF')));
}

TEST(CutOffMovie, EmptyFilesAre) {
  EXPECT_TRUE(judged(""));
}

TEST(CutOffMovie, OtherFormatsAndAbsentFilesAreNotJudged) {
  EXPECT_FALSE(judged("\x1A\x45\xDF\xA3 something of another kind"));
  EXPECT_FALSE(judged("short"));
  EXPECT_FALSE(is_cut_off_movie("/nowhere/movie.mp4"));
  EXPECT_FALSE(is_cut_off_movie("/"));
}

}  // namespace
}  // namespace veyrin::test
