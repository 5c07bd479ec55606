#include "media/sample_table.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using namespace std::string_literals;

/// Big endian, in so many bytes; all but the last eight are 0.
std::string number(std::int64_t value, int bytes = 4) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(i < 8 ? value >> 8 * i & 0xFF : 0);
  return text;
}

std::string numbers(const std::vector<std::int64_t>& values) {
  std::string text;
  for (const std::int64_t value : values) text += number(value);
  return text;
}

std::string box(const std::string& type, const std::string& content) {
  return number(static_cast<std::int64_t>(8 + content.size())) + type + content;
}

/// A table with as many entries as it says; `values` holds all of their fields.
std::string table(const std::string& type, std::int64_t entries, const std::vector<std::int64_t>& values) {
  return box(type, numbers({0, entries}) + numbers(values));
}

const std::string one_description = box("stsd", numbers({0, 1}) + "entry");
const std::string three_sizes = box("stsz", numbers({0, 0, 3, 100, 20, 30}));

std::string track(const std::string& samples, const std::string& edits = "", std::int64_t id = 7) {
  const std::string header = box("tkhd", number(3) + number(0, 8) + number(id) + number(0, 8));
  return box("trak", header + edits + box("mdia", box("minf", box("stbl", samples))));
}

std::string movie(const std::string& tracks) {
  return box("ftyp", "isom") + box("moov", box("mvhd", "") + tracks) + box("mdat", "samples");
}

std::optional<SampleTable> read(const std::string& bytes, int id = 7) {
  std::istringstream file(bytes);
  return read_sample_table(file, bytes.size(), id);
}

TEST(SampleTable, HoldsSizesAndOffsetsOfEachSample) {
  const auto plain = read(movie(track(one_description + three_sizes)));
  ASSERT_TRUE(plain.has_value());
  EXPECT_EQ(plain->sizes, (std::vector<std::uint32_t>{100, 20, 30}));
  EXPECT_TRUE(plain->composition_offsets.empty());
  EXPECT_EQ(plain->descriptions, 1U);
  EXPECT_TRUE(plain->in_one_piece);

  const std::string offsets = table("ctts", 2, {1, 512, 2, -256});
  const auto reordered = read(movie(track(one_description + three_sizes + offsets)));
  ASSERT_TRUE(reordered.has_value());
  EXPECT_EQ(reordered->composition_offsets, (std::vector<std::int32_t>{512, -256, -256}));

  const auto equal = read(movie(track(one_description + box("stsz", numbers({0, 50, 4})))));
  ASSERT_TRUE(equal.has_value());
  EXPECT_EQ(equal->sizes, (std::vector<std::uint32_t>{50, 50, 50, 50}));
}

TEST(SampleTable, IsThatOfTheTrackWithTheNumber) {
  const std::string other = track(one_description + box("stsz", numbers({0, 1, 1})), "", 8);
  const std::string large_header =
      box("trak", box("tkhd", "\1"s + number(0, 3) + number(0, 16) + number(9)) +
                      box("mdia", box("minf", box("stbl", one_description + three_sizes))));
  const std::string file = movie(other + track(one_description + three_sizes) + large_header);
  EXPECT_EQ(read(file, 7)->sizes.size(), 3U);
  EXPECT_EQ(read(file, 8)->sizes.size(), 1U);
  EXPECT_EQ(read(file, 9)->sizes.size(), 3U);
  EXPECT_FALSE(read(file, 10));
  EXPECT_FALSE(read(movie(other + other), 8)) << "two tracks of this number";
}

TEST(SampleTable, TellsWhetherAnEditListShowsItInOnePiece) {
  const auto in_one_piece = [](const std::string& edits) {
    const auto found = read(movie(track(one_description + three_sizes, edits)));
    return found && found->in_one_piece;
  };
  const auto list = [](std::int64_t entries, const std::vector<std::int64_t>& values) {
    return box("edts", table("elst", entries, values));
  };
  constexpr std::int64_t one = 0x10000;
  EXPECT_TRUE(in_one_piece(list(1, {1000, 0, one})));
  EXPECT_TRUE(in_one_piece(list(1, {1000, 1024, one})));
  EXPECT_TRUE(in_one_piece(list(2, {500, -1, one, 1000, 0, one})));
  EXPECT_FALSE(in_one_piece(list(2, {500, 0, one, 500, 0, one})));
  EXPECT_FALSE(in_one_piece(list(2, {500, 0, one, 500, -1, one})));
  EXPECT_FALSE(in_one_piece(list(9, {500, 0, one}))) << "more entries than there are";
  EXPECT_FALSE(in_one_piece(box("edts", "")));
  EXPECT_FALSE(in_one_piece(list(1, {1000, 0, one}) + list(1, {1000, 0, one})));
  const std::string large = "\1\0\0\0"s + number(2) + number(500, 8) + number(-1, 8) + number(one) +
                            number(1000, 8) + number(0, 8) + number(one);
  EXPECT_TRUE(in_one_piece(box("edts", box("elst", large))));
}

TEST(SampleTable, IsNoneWhereTheIndexIsDamagedOrIncomplete) {
  const std::string good = one_description + three_sizes;
  ASSERT_TRUE(read(movie(track(good))));
  const std::string offsets = table("ctts", 1, {3, 0});
  ASSERT_TRUE(read(movie(track(good + offsets))));
  for (const std::string& samples :
       {three_sizes, one_description, good + three_sizes, good + one_description, good + offsets + offsets,
        one_description + box("stsz", numbers({0, 0, 4, 100, 20, 30})),
        one_description + box("stsz", "short"), good + table("ctts", 1, {2, 0}),
        good + table("ctts", 1, {4, 0}), good + table("ctts", 2, {3, 0}),
        good + table("ctts", 2, {0, 0, 3, 0}), good + table("ctts", 1, {3, 1 << 30}),
        good + number(100) + "free"}) {
    EXPECT_FALSE(read(movie(track(samples)))) << samples;
  }
  EXPECT_FALSE(read(movie(track(good) + box("mvex", ""))));
  EXPECT_FALSE(read(box("ftyp", "isom")));
  EXPECT_FALSE(read(""));
}

TEST(SampleTable, CompleteIndexHasNoFragments) {
  const TemporaryFolder folder;
  const auto is_complete = [&](const std::string& bytes) {
    const auto path = folder.path() / "movie.mp4";
    std::ofstream(path, std::ios::binary) << bytes;
    return has_complete_index(path);
  };
  EXPECT_TRUE(is_complete(movie(track(one_description))));
  EXPECT_FALSE(is_complete(movie(track(one_description) + box("mvex", ""))));
  EXPECT_FALSE(is_complete(movie(number(100) + "trak")));
  EXPECT_FALSE(is_complete("no movie"));
  EXPECT_FALSE(has_complete_index(folder.path() / "nothing.mp4"));
}

}  // namespace
}  // namespace veyrin::test
