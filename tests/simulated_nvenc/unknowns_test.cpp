// What is unknown of real drivers, and the variables of the simulated one for it.
#include <gmock/gmock.h>

#include <string>
#include <string_view>

#include "tests/simulated_nvenc/clips.h"
#include "tests/simulated_nvenc/driver_test.h"

namespace veyrin::test {
namespace {

using testing::HasSubstr;
using namespace std::string_view_literals;

constexpr int moments = 6;

EncodeRequest spatial(const std::vector<std::pair<std::string, std::string>>& more = {}) {
  EncodeRequest request{.width = 128,
                        .height = 96,
                        .global_header = true,
                        .options = {{"profile", "mv"}},
                        .pictures = two_views(moments),
                        .displays = true};
  request.options.insert(request.options.end(), more.begin(), more.end());
  return request;
}

/// The NAL units of a packet or header as "type/layer" words.
std::string units_of(std::string_view stream) {
  std::string words;
  for (std::size_t at = stream.find("\0\0\1"sv); at != stream.npos; at = stream.find("\0\0\1"sv, at + 3)) {
    const auto first = static_cast<unsigned char>(stream[at + 3]);
    const auto second = static_cast<unsigned char>(stream[at + 4]);
    words += std::to_string(first >> 1 & 63) + "/" + std::to_string((first & 1) << 5 | second >> 3) + " ";
  }
  return words;
}

std::string units_of(const PacketPtr& packet) {
  return units_of({reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size)});
}

TEST_F(SimulatedDriver, MayWriteTheSetsOfTheSecondViewElsewhere) {
  struct SetsCase {
    const char* where;
    const char* header;
    const char* second_view;
  };
  // 32 to 34 are parameter sets, 39 is the message, 20 a key picture.
  for (const SetsCase& c : {SetsCase{"header", "32/0 33/0 33/1 34/0 34/1 ", "39/0 20/1 "},
                            SetsCase{"missing", "32/0 33/0 34/0 ", "39/0 20/1 "},
                            SetsCase{"in-band", "32/0 33/0 34/0 ", "33/1 34/1 39/0 20/1 "},
                            SetsCase{"both", "32/0 33/0 33/1 34/0 34/1 ", "33/1 34/1 39/0 20/1 "}}) {
    set("LAYER_1_SETS", c.where);
    const EncodeRun run = encode(spatial());
    ASSERT_EQ(run.packets.size(), 2U * moments);
    EXPECT_EQ(units_of(run.headers), c.header) << c.where;
    EXPECT_EQ(units_of(run.packets[0]), "39/0 20/0 ") << c.where;
    EXPECT_EQ(units_of(run.packets[1]), c.second_view) << c.where;
  }
}

TEST_F(SimulatedDriver, MayPlaceTheMessageElsewhere) {
  set("DISPLAY_MESSAGES", "once");
  EncodeRun run = encode(spatial());
  EXPECT_EQ(units_of(run.packets[0]), "39/0 20/0 ");
  EXPECT_EQ(units_of(run.packets[1]), "20/1 ");
  EXPECT_EQ(units_of(run.packets[2]).find("39/"), std::string::npos);
  set("DISPLAY_MESSAGES", "layer-1");
  run = encode(spatial());
  EXPECT_EQ(units_of(run.packets[0]), "20/0 ");
  EXPECT_EQ(units_of(run.packets[1]), "39/1 20/1 ");
}

TEST_F(SimulatedDriver, MayReportKeyPicturesDifferently) {
  const auto keys = [] {
    std::string marks;
    for (const PacketPtr& packet : encode(spatial()).packets)
      marks += (packet->flags & AV_PKT_FLAG_KEY) != 0 ? 'K' : '-';
    return marks;
  };
  EXPECT_EQ(keys(), "K-----------");
  set("VIEW_1_KEYS", "key-pictures");
  EXPECT_EQ(keys(), "KK----------");
  set("VIEW_1_KEYS", "all");
  EXPECT_EQ(keys(), "KK-K-K-K-K-K");
}

TEST_F(SimulatedDriver, MayGiveTheViewsInAnotherOrder) {
  const auto views = [] {
    std::string order;
    for (const PacketPtr& packet : encode(spatial()).packets)
      order += units_of(packet).find("/1 ") == std::string::npos ? 'l' : 'r';
    return order;
  };
  set("B_FRAMES", "2");
  set("DISPLAY_MESSAGES", "once");
  EXPECT_EQ(views(), "lrlrlrlrlrlr");
  set("VIEW_OUTPUT", "swapped");
  EXPECT_EQ(views(), "rlrlrlrlrlrl");
  set("VIEW_OUTPUT", "by-view");
  EXPECT_EQ(views(), "lrlllrrrllrr");
}

TEST_F(SimulatedDriver, MayCountEachViewInAGroup) {
  const auto groups = [] {
    std::string order;
    for (const PacketPtr& packet : encode(spatial({{"g", "4"}})).packets)
      order += (packet->flags & AV_PKT_FLAG_KEY) != 0 ? 'K' : '-';
    return order;
  };
  set("B_FRAMES", "1");
  EXPECT_EQ(groups(), "K-------K---");
  set("GROUPS_PER_VIEW", "1");
  EXPECT_EQ(groups(), "K---K---K---");
}

TEST_F(SimulatedDriver, TakesNoGroupsShorterThanTheirBFrames) {
  set("B_FRAMES", "2");
  EXPECT_LT(encode(spatial({{"g", "2"}})).open_result, 0);
  EXPECT_THAT(log(), HasSubstr("refused the group of pictures is shorter than its B-frames"));
  EXPECT_EQ(encode(spatial({{"g", "2"}, {"bf", "0"}})).open_result, 0);
  EXPECT_LT(encode(spatial({{"g", "1"}, {"bf", "0"}})).open_result, 0)
      << "FFmpeg leaves the B-frames of the preset";
  const EncodeRun keys_only = encode(spatial({{"g", "0"}, {"bf", "0"}}));
  EXPECT_EQ(keys_only.open_result, 0);
  EXPECT_EQ(keys_only.packets.size(), 2U * moments);
}

}  // namespace
}  // namespace veyrin::test
