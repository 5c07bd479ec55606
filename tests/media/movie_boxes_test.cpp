#include "media/movie_boxes.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace veyrin::test {
namespace {

using namespace std::string_literals;

std::string number(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> 8 * i & 0xFFU);
  return text;
}

std::string box(const std::string& type, const std::string& content) {
  return number(8 + content.size(), 4) + type + content;
}

std::string text_of(std::istream& file, const MovieBox& found) {
  const auto content = read_content(file, found, 1000);
  return content ? std::string(content->begin(), content->end()) : "unreadable";
}

std::string found(const std::string& file, std::initializer_list<std::string_view> path) {
  std::istringstream stream(file);
  const auto box = find_box(stream, {.type = {}, .begin = 0, .end = file.size()}, path);
  return box ? text_of(stream, *box) : "not there";
}

TEST(MovieBoxes, AreFoundByTheirPath) {
  const std::string file =
      box("ftyp", "qt") + box("moov", box("a   ", "1") + box("b   ", box("c   ", "2") + box("c   ", "3")));
  EXPECT_EQ(found(file, {"ftyp"}), "qt");
  EXPECT_EQ(found(file, {"moov", "b   ", "c   "}), "2") << "the first one";
  EXPECT_EQ(found(file, {"moov", "c   "}), "not there");
  EXPECT_EQ(found(file, {"a   "}), "not there");
  EXPECT_EQ(found("", {"ftyp"}), "not there");
}

TEST(MovieBoxes, MayHaveLongOrOpenSizes) {
  const std::string large = number(1, 4) + "mdat" + number(16 + 5, 8) + "large";
  EXPECT_EQ(found(large + box("moov", "x"), {"moov"}), "x");
  EXPECT_EQ(found(large, {"mdat"}), "large");
  EXPECT_EQ(found(box("ftyp", "") + number(0, 4) + "mdat to the end", {"mdat"}), " to the end");
}

TEST(MovieBoxes, ThatDoNotFitAreNotRead) {
  for (const std::string& file :
       {"\0\0\0"s, "\0\0\0\7moov"s, number(9, 4) + "moov", number(1, 4) + "moov" + number(17, 8),
        number(1, 4) + "moov" + number(15, 8), number(1, 4) + "moov" + number(~0ULL, 8),
        number(1, 4) + "moov"}) {
    EXPECT_EQ(found(file, {"moov"}), "not there");
  }
  // The inner box ends behind the outer one, though not behind the file.
  EXPECT_EQ(found(number(16, 4) + "moov" + number(12, 4) + "trak" + box("free", "more"), {"moov", "trak"}),
            "not there");
}

std::string track(const std::string& handler, const std::string& more) {
  return box("trak", box("mdia", box("hdlr", std::string(8, '\0') + handler)) + box("name", more));
}

TEST(MovieBoxes, FirstVideoTrackIsFound) {
  const auto name_of_video = [](const std::string& file) -> std::string {
    std::istringstream stream(file);
    const auto video = find_video_track(stream, file.size());
    const auto name = video ? find_box(stream, *video, {"name"}) : std::nullopt;
    return name ? text_of(stream, *name) : "none";
  };
  EXPECT_EQ(name_of_video(box("moov", track("soun", "1") + track("vide", "2") + track("vide", "3"))), "2");
  EXPECT_EQ(name_of_video(box("moov", track("soun", "1"))), "none");
  EXPECT_EQ(name_of_video(box("moov", track("vi", "1") + track("vide", "2"))), "2") << "a short handler";
  EXPECT_EQ(name_of_video(track("vide", "1")), "none");
}

TEST(MovieBoxes, ContentMayBeLimitedAndSkipped) {
  const std::string file = box("stsd", "12345678");
  std::istringstream stream(file);
  const auto whole = read_box(stream, 0, file.size());
  ASSERT_TRUE(whole.has_value());
  EXPECT_FALSE(read_content(stream, *whole, 7).has_value());
  EXPECT_EQ(text_of(stream, whole->behind(6)), "78");
  EXPECT_EQ(text_of(stream, whole->behind(8)), "");
  EXPECT_EQ(text_of(stream, whole->behind(~0ULL)), "");
}

}  // namespace
}  // namespace veyrin::test
