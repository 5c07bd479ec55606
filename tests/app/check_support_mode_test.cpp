#include "app/check_support_mode.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace veyrin::test {
namespace {

using std::chrono::nanoseconds;

TEST(ProbeFileName, CarriesTheClockInDecimal) {
  EXPECT_EQ(probe_file_name({}, nanoseconds(0)), "veyrin-support-probe-0.mp4");
  EXPECT_EQ(probe_file_name({}, nanoseconds(1234567890123456789)),
            "veyrin-support-probe-1234567890123456789.mp4");
  EXPECT_EQ(probe_file_name({}, nanoseconds(-42)), "veyrin-support-probe--42.mp4");
  EXPECT_EQ(probe_file_name({}, nanoseconds(std::numeric_limits<std::int64_t>::min())),
            "veyrin-support-probe--9223372036854775808.mp4");
}

struct ExtensionCase {
  OutputFormat format;
  SbsCodec codec;
  const char* extension;
};

TEST(ProbeFileName, IsAQuickTimeNameForSpatialAndProRes) {
  for (const ExtensionCase& c : {
           ExtensionCase{OutputFormat::sbs, SbsCodec::h264, ".mp4"},
           ExtensionCase{OutputFormat::sbs, SbsCodec::hevc, ".mp4"},
           ExtensionCase{OutputFormat::sbs, SbsCodec::prores, ".mov"},
           ExtensionCase{OutputFormat::mono, SbsCodec::hevc, ".mp4"},
           ExtensionCase{OutputFormat::mono, SbsCodec::prores, ".mov"},
           ExtensionCase{OutputFormat::spatial, SbsCodec::h264, ".mov"},
           ExtensionCase{OutputFormat::spatial, SbsCodec::hevc, ".mov"},
           ExtensionCase{OutputFormat::spatial, SbsCodec::prores, ".mov"},
       }) {
    ConversionOptions options;
    options.output_format = c.format;
    options.sbs_codec = c.codec;
    EXPECT_EQ(probe_file_name(options, nanoseconds(7)), std::string("veyrin-support-probe-7") + c.extension);
  }
}

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
  EXPECT_EQ(supported_answer(Acceleration::software),
            "{\"schemaVersion\":1,\"supported\":true,\"acceleration\":\"software\"}\n");
  EXPECT_EQ(supported_answer(Acceleration::hardware),
            "{\"schemaVersion\":1,\"supported\":true,\"acceleration\":\"hardware\"}\n");
  EXPECT_EQ(unsupported_answer("no \"x\"\tfound"),
            "{\"schemaVersion\":1,\"supported\":false,\"acceleration\":\"none\",\"reason\":"
            "\"no \\\"x\\\"\\tfound\"}\n");
}

}  // namespace
}  // namespace veyrin::test
