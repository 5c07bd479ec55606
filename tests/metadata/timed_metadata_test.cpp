#include "metadata/timed_metadata.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>

#include "media/ffmpeg.h"
#include "tests/metadata/thrown_message.h"
#include "tests/recordings/gpmf_sample.h"

namespace veyrin::test {
namespace {

using namespace std::string_literals;

/// A well-formed sample as text, which is easily cut.
std::string gpmf_sample(std::string_view payload, const std::string& schema = "json/v1") {
  const auto bytes = recordings::gpmf_sample(payload, {.schema = schema});
  return {bytes.begin(), bytes.end()};
}

std::optional<nlohmann::json> parse(const std::string& sample) {
  const PacketPtr packet(av_packet_alloc());
  if (av_new_packet(packet.get(), static_cast<int>(sample.size())) < 0) throw std::bad_alloc();
  std::memcpy(packet->data, sample.data(), sample.size());
  return parse_gpmf_json_record(packet.get());
}

std::string message_for(const std::string& sample) {
  return thrown_message([&] { (void)parse(sample); });
}

std::string with_byte(std::string sample, std::size_t position, char value) {
  sample.at(position) = value;
  return sample;
}

TEST(GpmfRecord, GivesTheObjectOfAJsonSample) {
  const std::string sample = gpmf_sample(R"({"pts": 1.5})");
  ASSERT_EQ(sample.substr(16, 4), "AVmd");
  const auto document = parse(sample);
  ASSERT_TRUE(document);
  EXPECT_EQ(document->at("pts"), 1.5);
}

TEST(GpmfRecord, TakesEveryPaddingOfThePayload) {
  for (const char* payload : {"{}", "{ }", "{  }", "{   }"}) {
    const auto document = parse(gpmf_sample(payload));
    ASSERT_TRUE(document) << payload;
    EXPECT_TRUE(document->is_object()) << payload;
  }
}

TEST(GpmfRecord, TakesTheLargestPayload) {
  const std::string payload = R"({"a":")" + std::string(65535 - 8, 'x') + R"("})";
  ASSERT_EQ(payload.size(), 65535U);
  const auto document = parse(gpmf_sample(payload));
  ASSERT_TRUE(document);
  EXPECT_EQ(document->at("a").get<std::string>().size(), 65527U);
}

TEST(GpmfRecord, IgnoresWhatIsNoDocument) {
  EXPECT_FALSE(parse_gpmf_json_record(nullptr));
  const PacketPtr empty(av_packet_alloc());
  EXPECT_FALSE(parse_gpmf_json_record(empty.get()));
  for (const std::string& sample :
       {"AVm"s, "AVme"s, "avmf"s, "DEVC\0\0\0\0"s, gpmf_sample("{}", "json/v2"), gpmf_sample("{}", "json/v"),
        gpmf_sample("{}", "json/v11"), gpmf_sample("{}", "JSON/V1"), gpmf_sample("no json", "x")}) {
    EXPECT_FALSE(parse(sample)) << sample;
  }
}

TEST(GpmfRecord, IgnoresOtherSchemasUpToSixtyFourBytes) {
  EXPECT_FALSE(parse(gpmf_sample("{}", std::string(64, 's'))));
  // The record of the payload is not read.
  EXPECT_FALSE(parse("AVmfc\1\0\1x\0\0\0"s));
}

TEST(GpmfRecord, RefusesAMalformedSchemaRecord) {
  const std::string sample = gpmf_sample("{}");
  for (const std::string& broken :
       {sample.substr(0, 4), sample.substr(0, 7), with_byte(sample, 4, 'b'), with_byte(sample, 5, 2)}) {
    EXPECT_EQ(message_for(broken), "invalid AVmf GPMF record");
  }
}

TEST(GpmfRecord, RefusesASchemaRecordOfWrongSize) {
  const std::string sample = gpmf_sample("{}");
  for (const std::string& broken :
       {with_byte(sample, 7, 0), gpmf_sample("{}", std::string(65, 's')),
        gpmf_sample("{}", std::string(256, 's')), sample.substr(0, 8), sample.substr(0, 15)}) {
    EXPECT_EQ(message_for(broken), "invalid AVmf GPMF record size");
  }
}

TEST(GpmfRecord, RefusesAMalformedPayloadRecord) {
  const std::string sample = gpmf_sample("{}");
  for (const std::string& broken : {sample.substr(0, 16), sample.substr(0, 23), with_byte(sample, 19, 'f'),
                                    with_byte(sample, 20, 'j'), with_byte(sample, 21, 4)}) {
    EXPECT_EQ(message_for(broken), "invalid AVmd GPMF record");
  }
}

TEST(GpmfRecord, AsksForTheExactPaddedSize) {
  const std::string sample = gpmf_sample(R"({"pts": 1})");
  ASSERT_EQ(sample.size(), 36U);
  EXPECT_TRUE(parse(sample));
  EXPECT_EQ(message_for(sample.substr(0, 35)), "invalid AVmd GPMF record size");
  EXPECT_EQ(message_for(sample + "\0"s), "invalid AVmd GPMF record size");
  EXPECT_EQ(message_for(sample + "\0\0\0\0"s), "invalid AVmd GPMF record size");
  EXPECT_EQ(message_for(with_byte(sample, 22, 1)), "invalid AVmd GPMF record size");
}

TEST(GpmfRecord, RefusesAPayloadThatIsNoObject) {
  for (const char* payload : {"[]", "[{}]", "5", "\"text\"", "null", "true"}) {
    EXPECT_EQ(message_for(gpmf_sample(payload)), "json/v1 AVmd payload is not an object") << payload;
  }
}

TEST(GpmfRecord, PassesTheParsersMessageOn) {
  EXPECT_EQ(
      message_for(gpmf_sample("")),
      "[json.exception.parse_error.101] parse error at line 1, column 1: syntax error while parsing value - "
      "unexpected end of input; expected '[', '{', or a literal");
  EXPECT_EQ(
      message_for(gpmf_sample("{} // comment")),
      "[json.exception.parse_error.101] parse error at line 1, column 4: syntax error while parsing value - "
      "invalid literal; last read: '{} /'; expected end of input");
  EXPECT_EQ(message_for(gpmf_sample(R"({"pts": 1e999})")),
            "[json.exception.out_of_range.406] number overflow parsing '1e999'");
}

TEST(GpmfRecord, ParsesDeepNestingWithoutExhaustingTheStack) {
  const std::string deep(30000, '[');
  EXPECT_EQ(message_for(gpmf_sample(deep + std::string(30000, ']'))),
            "json/v1 AVmd payload is not an object");
  EXPECT_NE(message_for(gpmf_sample(std::string(65535, '['))), "nothing thrown");
  EXPECT_TRUE(parse(gpmf_sample("{\"a\":" + deep + std::string(30000, ']') + "}")));
}

TEST(LegacyKeys, BecomeTheCurrentOnes) {
  nlohmann::json document{{"playbackTimestampSec", 4.5}, {"cameras", {{{"videoTrackIndex", 2}}, 5}}};
  adopt_legacy_keys(document);
  EXPECT_EQ(document.at("pts"), 4.5);
  EXPECT_EQ(document.at("cameras").at(0).at("track"), 2);
  EXPECT_EQ(document.at("cameras").at(1), 5);
}

TEST(LegacyKeys, YieldToTheCurrentOnes) {
  nlohmann::json document{{"pts", 12.5}, {"playbackTimestampSec", 4.5}};
  document["cameras"] = {{{"track", 1}, {"videoTrackIndex", 5}}};
  adopt_legacy_keys(document);
  EXPECT_EQ(document.at("pts"), 12.5);
  EXPECT_EQ(document.at("cameras").at(0).at("track"), 1);
}

TEST(ShortQuotation, LeavesOtherMessagesAlone) {
  for (const std::string& message : {std::string("key 'pts' not found"), std::string(300, 'a'),
                                     std::string("last read: ''"), std::string()})
    EXPECT_EQ(with_short_quotation(message), message);
}

TEST(ShortQuotation, KeepsTwoHundredCharactersAndWhatWasExpected) {
  const std::string before = "syntax error; last read: '";
  const auto repeated = [](const std::string& character, int count) {
    std::string text;
    while (count-- > 0) text += character;
    return text;
  };
  for (const std::string character : {"x", "\u00e4", "\U0001f3a5"}) {
    const std::string fits = before + repeated(character, 200);
    for (const std::string after : {"'", "'; expected end of input", "'; expected ','"}) {
      EXPECT_EQ(with_short_quotation(fits + after), fits + after);
      EXPECT_EQ(with_short_quotation(fits + character + after), fits + "..." + after);
      EXPECT_EQ(with_short_quotation(fits + repeated(character, 60000) + after), fits + "..." + after);
    }
  }
  const std::string full = before + std::string(200, 'x');
  EXPECT_EQ(with_short_quotation(full + "'; expected " + std::string(500, 'y') + "'"), full + "...'")
      << "what looks like the end but is too long for one";
  EXPECT_EQ(with_short_quotation(full + "yyy"), full + "...") << "no end";
}

}  // namespace
}  // namespace veyrin::test
