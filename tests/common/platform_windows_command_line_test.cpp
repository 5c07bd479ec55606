#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "common/platform/windows_command_line.h"

namespace veyrin::test {
namespace {

struct QuotingCase {
  const char* item;
  const char* quoted;
};

constexpr QuotingCase quoting_cases[] = {
    {"plain", "plain"},
    {"", ""},
    {R"(C:\tools\ffmpeg-gpl.exe)", R"(C:\tools\ffmpeg-gpl.exe)"},
    {R"(ends\)", R"(ends\)"},
    {"1:a:0?", "1:a:0?"},
    {"line\nfeed", "line\nfeed"},
    {"two words", R"("two words")"},
    {"a\ttab", "\"a\ttab\""},
    {" ", R"(" ")"},
    {R"(C:\My Videos\a.mp4)", R"("C:\My Videos\a.mp4")"},
    {R"(C:\My Videos\)", R"("C:\My Videos\\")"},
    {R"(C:\My Videos\\)", R"("C:\My Videos\\\\")"},
    {R"(say "hi")", R"("say \"hi\"")"},
    {R"(")", R"("\"")"},
    {R"(a\"b)", R"("a\\\"b")"},
    {R"(a\\"b)", R"("a\\\\\"b")"},
    {R"(a\\b c)", R"("a\\b c")"},
    {R"(a" \)", R"("a\" \\")"},
    {"fl\xc3\xbcgel 1", "\"fl\xc3\xbcgel 1\""},
};

TEST(WindowsCommandLine, QuotesItemsThatTheParserWouldSplit) {
  for (const QuotingCase& quoting : quoting_cases) {
    EXPECT_EQ(platform::quote_windows_argument(quoting.item), quoting.quoted)
        << "item <" << quoting.item << '>';
  }
}

TEST(WindowsCommandLine, JoinsExecutableAndArgumentsWithOneBlank) {
  EXPECT_EQ(platform::windows_command_line(R"(C:\Program Files\ffmpeg-gpl.exe)",
                                           {"-i", "pipe:0", R"(D:\my out\a.mp4)"}),
            R"("C:\Program Files\ffmpeg-gpl.exe" -i pipe:0 "D:\my out\a.mp4")");
  EXPECT_EQ(platform::windows_command_line("ffmpeg-gpl.exe", {}), "ffmpeg-gpl.exe");
}

// The documented rules of the Microsoft C run-time for taking a command line apart.
std::vector<std::string> parsed_command_line(const std::string& line) {
  std::vector<std::string> items;
  std::string item;
  bool in_item = false;
  bool in_quotes = false;
  for (std::size_t i = 0; i < line.size();) {
    if (!in_quotes && (line[i] == ' ' || line[i] == '\t')) {
      if (in_item) items.push_back(item);
      item.clear();
      in_item = false;
      ++i;
      continue;
    }
    in_item = true;
    std::size_t backslashes = 0;
    while (i < line.size() && line[i] == '\\') {
      ++backslashes;
      ++i;
    }
    const bool before_quote = i < line.size() && line[i] == '"';
    item.append(before_quote ? backslashes / 2 : backslashes, '\\');
    if (!before_quote) {
      if (backslashes == 0) item += line[i++];
      continue;
    }
    if (backslashes % 2 == 1) {
      item += '"';
    } else {
      in_quotes = !in_quotes;
    }
    ++i;
  }
  if (in_item) items.push_back(item);
  return items;
}

// All items of up to five of the characters that matter, between two plain neighbours.
TEST(WindowsCommandLine, ParserReadsBackEveryItem) {
  const std::string alphabet = "a\\\" \t";
  std::vector<std::string> items{""};
  for (std::size_t first = 0, length = 0; length < 5; ++length) {
    const std::size_t end = items.size();
    for (; first < end; ++first) {
      for (const char character : alphabet) items.push_back(items[first] + character);
    }
  }
  ASSERT_EQ(items.size(), 3906U);
  for (const std::string& item : items) {
    if (item.empty()) continue;
    const std::vector<std::string> expected{"run.exe", "-i", item, "last"};
    ASSERT_EQ(parsed_command_line(platform::windows_command_line("run.exe", {"-i", item, "last"})), expected);
  }
}

}  // namespace
}  // namespace veyrin::test
