#include "app/support_answer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace veyrin::test {
namespace {

TEST(EscapeJson, GivesShortEscapesTheirLetters) {
  EXPECT_EQ(escape_json("a\tb\nc\rd"), R"(a\tb\nc\rd)");
  EXPECT_EQ(escape_json(R"(say "no" to C:\dir)"), R"(say \"no\" to C:\\dir)");
}

TEST(EscapeJson, WritesOtherControlBytesAsNumbers) {
  EXPECT_EQ(escape_json(std::string_view("\0", 1)), R"(\u0000)");
  EXPECT_EQ(escape_json("\b\f\v"), R"(\u0008\u000c\u000b)");
  EXPECT_EQ(escape_json("\x01\x10\x1f"), R"(\u0001\u0010\u001f)");
}

TEST(EscapeJson, CopiesEverythingElse) {
  EXPECT_EQ(escape_json(""), "");
  EXPECT_EQ(escape_json("plain text / 100%"), "plain text / 100%");
  EXPECT_EQ(escape_json("\x7f\x80\xff"), "\x7f\x80\xff");
  EXPECT_EQ(escape_json("\xc3\xa9\xe2\x82\xac"), "\xc3\xa9\xe2\x82\xac");
}

TEST(EscapeJson, IsUndoneByAJsonReaderForEveryAsciiByte) {
  std::string text;
  for (char character = 0; character < 127; ++character) text += character;
  std::string document = "\"";
  document.append(escape_json(text)).append("\"");
  EXPECT_EQ(nlohmann::json::parse(document).get<std::string>(), text);
}

TEST(SupportAnswer, IsOneLineToTheLetter) {
  EXPECT_EQ(supported_answer(/*software_path=*/true),
            "{\"schemaVersion\":1,\"supported\":true,\"acceleration\":\"software\"}\n");
  EXPECT_EQ(supported_answer(/*software_path=*/false),
            "{\"schemaVersion\":1,\"supported\":true,\"acceleration\":\"hardware\"}\n");
  EXPECT_EQ(unsupported_answer("no \"x\"\tfound"),
            "{\"schemaVersion\":1,\"supported\":false,\"acceleration\":\"none\",\"reason\":"
            "\"no \\\"x\\\"\\tfound\"}\n");
}

}  // namespace
}  // namespace veyrin::test
