#include "spatial/two_view_protocol.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace veyrin::test {
namespace {

using namespace two_view;

Request sample_request() {
  return {.width = 1920,
          .height = 1080,
          .bit_depth = 10,
          .rate_numerator = 30000,
          .rate_denominator = 1001,
          .primaries = 9,
          .transfer = 18,
          .matrix = 9,
          .full_range = 1,
          .key_distance = 60,
          .b_frames = 2,
          .bits_per_second = 5'000'000'000,
          .preset = "fast"};
}

RequestHead head_of(const Bytes& message) {
  return parse_request_head(std::span(message).first<RequestHead::size>());
}

ByteSpan body_of_request(const Bytes& message) {
  return ByteSpan(message).subspan(RequestHead::size);
}

/// The body of a record whose head is as expected.
ByteSpan body_of(const Bytes& record, RecordKind kind) {
  const RecordHead head = parse_record_head(std::span(record).first<RecordHead::size>());
  EXPECT_EQ(head.kind, static_cast<std::uint32_t>(kind));
  EXPECT_EQ(head.bytes, record.size() - RecordHead::size);
  return ByteSpan(record).subspan(RecordHead::size);
}

Bytes unit_record(const Unit& unit) {
  Bytes record = write_unit_head(unit, unit.bytes.size() - unit.left_bytes);
  record.insert(record.end(), unit.bytes.begin(), unit.bytes.end());
  return record;
}

TEST(TwoViewProtocol, RequestsArriveAsTheyWereSent) {
  for (const std::string& preset : {std::string(), std::string("medium"), std::string(32, 'x')}) {
    Request request = sample_request();
    request.preset = preset;
    const Bytes message = write_request(request);
    const RequestHead head = head_of(message);
    EXPECT_TRUE(head.is_request);
    EXPECT_EQ(head.version, protocol_version);
    EXPECT_EQ(head.bytes, message.size() - RequestHead::size);
    EXPECT_LE(head.bytes, RequestHead::most_bytes);
    EXPECT_EQ(parse_request(body_of_request(message)), request);
  }
}

TEST(TwoViewProtocol, RequestsHaveTheDescribedBytes) {
  const Bytes message = write_request(sample_request());
  const Bytes begin{'V', 'T', 'V', 'E', 1, 0, 0, 0, 56, 0, 0, 0, 0x80, 7, 0, 0, 0x38, 4, 0, 0, 10, 0, 0, 0};
  ASSERT_GE(message.size(), begin.size());
  EXPECT_TRUE(std::equal(begin.begin(), begin.end(), message.begin()));
  const Bytes end{60, 0, 0, 0, 2, 0, 0, 0, 0, 0xF2, 5, 0x2A, 1, 0, 0, 0, 'f', 'a', 's', 't'};
  EXPECT_TRUE(std::equal(end.begin(), end.end(), message.end() - static_cast<std::ptrdiff_t>(end.size())));
}

TEST(TwoViewProtocol, RequestsThatAreCutAreNone) {
  Request request = sample_request();
  request.preset.clear();
  const Bytes message = write_request(request);
  const ByteSpan body = body_of_request(message);
  for (std::size_t size = 0; size < body.size(); ++size)
    EXPECT_FALSE(parse_request(body.first(size))) << size;
  EXPECT_TRUE(parse_request(body));
}

TEST(TwoViewProtocol, OtherTextsAreNoRequests) {
  for (std::size_t at = 0; at < 4; ++at) {
    Bytes message = write_request(sample_request());
    message[at] ^= 0x20U;
    EXPECT_FALSE(head_of(message).is_request);
  }
}

TEST(TwoViewProtocol, RequestsOutsideOfTheirLimitsAreNone) {
  struct Case {
    const char* name;
    void (*change)(Request&);
    bool sensible;
  };
  const std::array cases{
      Case{"smallest", [](Request& r) { r.width = r.height = 16; }, true},
      Case{"narrow", [](Request& r) { r.width = 14; }, false},
      Case{"low", [](Request& r) { r.height = 14; }, false},
      Case{"largest", [](Request& r) { r.width = r.height = 8192; }, true},
      Case{"wide", [](Request& r) { r.width = 8194; }, false},
      Case{"high", [](Request& r) { r.height = 8194; }, false},
      Case{"odd width", [](Request& r) { r.width = 17; }, false},
      Case{"odd height", [](Request& r) { r.height = 17; }, false},
      Case{"8 bits", [](Request& r) { r.bit_depth = 8; }, true},
      Case{"9 bits", [](Request& r) { r.bit_depth = 9; }, false},
      Case{"12 bits", [](Request& r) { r.bit_depth = 12; }, false},
      Case{"no rate", [](Request& r) { r.rate_numerator = 0; }, false},
      Case{"infinite rate", [](Request& r) { r.rate_denominator = 0; }, false},
      Case{"last colours", [](Request& r) { r.primaries = r.transfer = r.matrix = 255; }, true},
      Case{"primaries", [](Request& r) { r.primaries = 256; }, false},
      Case{"transfer", [](Request& r) { r.transfer = 256; }, false},
      Case{"matrix", [](Request& r) { r.matrix = 256; }, false},
      Case{"range", [](Request& r) { r.full_range = 2; }, false},
      Case{"key pictures alone", [](Request& r) { r.key_distance = 1; }, true},
      Case{"no key distance", [](Request& r) { r.key_distance = 0; }, false},
      Case{"no B-frames", [](Request& r) { r.b_frames = 0; }, true},
      Case{"most B-frames", [](Request& r) { r.b_frames = 8; }, true},
      Case{"too many B-frames", [](Request& r) { r.b_frames = 9; }, false},
      Case{"B-frames of the encoder's choice", [](Request& r) { r.b_frames = Request::own_b_frames; }, true},
      Case{"no bits", [](Request& r) { r.bits_per_second = 0; }, false},
      Case{"most bits", [](Request& r) { r.bits_per_second = (std::uint64_t{1} << 40U) - 1; }, true},
      Case{"too many bits", [](Request& r) { r.bits_per_second = std::uint64_t{1} << 40U; }, false},
      Case{"long preset", [](Request& r) { r.preset = std::string(33, 'x'); }, false},
  };
  for (const Case& tried : cases) {
    Request request = sample_request();
    tried.change(request);
    const Bytes message = write_request(request);
    EXPECT_EQ(parse_request(body_of_request(message)).has_value(), tried.sensible) << tried.name;
    EXPECT_EQ(find_mistake(request).empty(), tried.sensible) << tried.name;
  }
}

TEST(TwoViewProtocol, PicturesTakeOneAndAHalfSamplesPerPixel) {
  const auto bytes = [](std::uint32_t width, std::uint32_t height, std::uint32_t bit_depth) {
    Request request;
    request.width = width;
    request.height = height;
    request.bit_depth = bit_depth;
    return picture_bytes(request);
  };
  EXPECT_EQ(bytes(16, 18, 8), 432U);
  EXPECT_EQ(bytes(16, 18, 10), 864U);
  EXPECT_EQ(bytes(8192, 8192, 10), 201326592U);
}

TEST(TwoViewProtocol, TheEndTellsTheNumberOfPairs) {
  const Bytes end = write_end(0x0102030405060708);
  ASSERT_EQ(end.size(), mark_size + pair_count_size);
  EXPECT_TRUE(std::equal(end_mark.begin(), end_mark.end(), end.begin()));
  EXPECT_EQ(end[mark_size], 8);
  EXPECT_EQ(parse_pair_count(std::span(end).last<pair_count_size>()), 0x0102030405060708U);
}

TEST(TwoViewProtocol, OpenedBringsTheParameterSets) {
  const Bytes sets{0, 0, 0, 1, 0x40, 1};
  const auto opened = parse_opened(body_of(write_opened(sets), RecordKind::opened));
  ASSERT_TRUE(opened);
  EXPECT_EQ(opened->version, protocol_version);
  EXPECT_EQ(opened->parameter_sets, sets);
}

TEST(TwoViewProtocol, OpenedOfAnotherVersionHasNoParameterSets) {
  const Bytes body{2, 0, 0, 0, 7, 7, 7};
  const auto opened = parse_opened(body);
  ASSERT_TRUE(opened);
  EXPECT_EQ(opened->version, 2U);
  EXPECT_TRUE(opened->parameter_sets.empty());
  for (std::size_t size = 0; size < 4; ++size) EXPECT_FALSE(parse_opened(ByteSpan(body).first(size)));
}

TEST(TwoViewProtocol, UnitsArriveAsTheyWereSent) {
  for (const bool key : {false, true}) {
    const Unit sent{.pts = 5, .dts = -2, .key = key, .left_bytes = 3, .bytes = {1, 2, 3, 4, 5}};
    const Bytes record = unit_record(sent);
    const auto unit = parse_unit(body_of(record, RecordKind::unit));
    ASSERT_TRUE(unit);
    EXPECT_EQ(unit->pts, 5);
    EXPECT_EQ(unit->dts, -2);
    EXPECT_EQ(unit->key, key);
    EXPECT_EQ(unit->left_bytes, 3U);
    EXPECT_EQ(unit->bytes, sent.bytes);
  }
}

TEST(TwoViewProtocol, UnitsThatAreCutInsideTheLeftViewAreNone) {
  const Bytes record = unit_record({.left_bytes = 3, .bytes = {1, 2, 3, 4, 5}});
  const ByteSpan body = ByteSpan(record).subspan(RecordHead::size);
  constexpr std::size_t fields_and_left_view = 24 + 3;
  for (std::size_t size = 0; size < body.size(); ++size)
    EXPECT_EQ(parse_unit(body.first(size)).has_value(), size >= fields_and_left_view) << size;
}

TEST(TwoViewProtocol, UnitsWithOtherFlagsAreNone) {
  Bytes record = unit_record({.key = true, .left_bytes = 1, .bytes = {1, 2}});
  constexpr std::size_t flags = RecordHead::size + 16;
  EXPECT_TRUE(parse_unit(ByteSpan(record).subspan(RecordHead::size)));
  record[flags] = 2;
  EXPECT_FALSE(parse_unit(ByteSpan(record).subspan(RecordHead::size)));
}

TEST(TwoViewProtocol, DoneTellsTheNumberOfUnits) {
  const Bytes record = write_done(1U << 20U);
  const ByteSpan body = body_of(record, RecordKind::done);
  EXPECT_EQ(parse_done(body), 1U << 20U);
  for (std::size_t size = 0; size < body.size(); ++size) EXPECT_FALSE(parse_done(body.first(size))) << size;
  Bytes longer(body.begin(), body.end());
  longer.push_back(0);
  EXPECT_FALSE(parse_done(longer));
}

TEST(TwoViewProtocol, FailuresBringTheirMessageAndLongOnesAreCut) {
  EXPECT_EQ(parse_failed(body_of(write_failed("could not"), RecordKind::failed)), "could not");
  EXPECT_EQ(parse_failed(body_of(write_failed(""), RecordKind::failed)), "");
  const Bytes record = write_failed(std::string(5000, 'm'));
  EXPECT_EQ(parse_failed(body_of(record, RecordKind::failed)), std::string(1000, 'm'));
  EXPECT_EQ(parse_failed(Bytes(5000, 'm')), std::string(1000, 'm'));
}

}  // namespace
}  // namespace veyrin::test
