#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string_view>

#include "spatial/nvenc_two_view_encoder.h"

namespace veyrin::test {
namespace {

struct View {
  std::string_view bytes;
  std::int64_t pts = 0;
  std::int64_t dts = 0;
  int flags = 0;
  std::int64_t duration = 0;
};

PacketPtr packet_of(const View& view) {
  PacketPtr packet(av_packet_alloc());
  EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(view.bytes.size())), 0);
  std::memcpy(packet->data, view.bytes.data(), view.bytes.size());
  packet->pts = view.pts;
  packet->dts = view.dts;
  packet->flags = view.flags;
  packet->duration = view.duration;
  packet->pos = 1234;
  return packet;
}

/// Adds a view that is expected to fit, and checks that its packet is left empty.
void add(ViewPairJoiner& joiner, const View& view) {
  const PacketPtr packet = packet_of(view);
  std::string error;
  EXPECT_TRUE(joiner.add(*packet, error)) << error;
  EXPECT_EQ(packet->buf, nullptr);
  EXPECT_EQ(error, "");
}

std::string_view bytes_of(const AVPacket& packet) {
  return {reinterpret_cast<const char*>(packet.data), static_cast<std::size_t>(packet.size)};
}

TEST(ViewPairJoiner, FirstViewWaitsForTheSecond) {
  const auto owner = ViewPairJoiner::create();
  ViewPairJoiner& joiner = *owner;
  EXPECT_FALSE(joiner.waiting());
  EXPECT_EQ(joiner.complete_unit(), nullptr);
  add(joiner, {"base"});
  EXPECT_TRUE(joiner.waiting());
  EXPECT_EQ(joiner.complete_unit(), nullptr);
}

TEST(ViewPairJoiner, SecondViewFollowsTheFirstWithNothingBetween) {
  const auto owner = ViewPairJoiner::create();
  ViewPairJoiner& joiner = *owner;
  add(joiner, {"base", 7, 5});
  add(joiner, {"dependent", 7, 5});
  ASSERT_NE(joiner.complete_unit(), nullptr);
  EXPECT_FALSE(joiner.waiting());
  EXPECT_EQ(bytes_of(*joiner.complete_unit()), "basedependent");
  EXPECT_EQ(joiner.complete_unit()->pts, 7);
  EXPECT_EQ(joiner.complete_unit()->pos, -1);
}

struct JoinCase {
  const char* name;
  View first;
  View second;
  std::int64_t dts;
  int flags;
  std::int64_t duration;
};

TEST(ViewPairJoiner, SampleHasTheFirstTimesAllFlagsAndTheLongerDuration) {
  constexpr std::int64_t unknown = AV_NOPTS_VALUE;
  for (const JoinCase& c : {
           JoinCase{"different dts", {"a", 3, -4}, {"b", 3, 9}, -4, 0, 0},
           JoinCase{"unknown times", {"a", unknown, unknown}, {"b", unknown, 2}, unknown, 0, 0},
           JoinCase{"key first", {"a", 0, 0, AV_PKT_FLAG_KEY}, {"b"}, 0, AV_PKT_FLAG_KEY, 0},
           JoinCase{"key second", {"a"}, {"b", 0, 0, AV_PKT_FLAG_KEY}, 0, AV_PKT_FLAG_KEY, 0},
           JoinCase{"other flags",
                    {"a", 0, 0, AV_PKT_FLAG_KEY},
                    {"b", 0, 0, AV_PKT_FLAG_DISPOSABLE},
                    0,
                    AV_PKT_FLAG_KEY | AV_PKT_FLAG_DISPOSABLE,
                    0},
           JoinCase{"longer first", {"a", 0, 0, 0, 3}, {"b", 0, 0, 0, 2}, 0, 0, 3},
           JoinCase{"longer second", {"a", 0, 0, 0, 0}, {"b", 0, 0, 0, 2}, 0, 0, 2},
       }) {
    const auto owner = ViewPairJoiner::create();
    ViewPairJoiner& joiner = *owner;
    add(joiner, c.first);
    add(joiner, c.second);
    const AVPacket* unit = joiner.complete_unit();
    ASSERT_NE(unit, nullptr) << c.name;
    EXPECT_EQ(unit->pts, c.first.pts) << c.name;
    EXPECT_EQ(unit->dts, c.dts) << c.name;
    EXPECT_EQ(unit->flags, c.flags) << c.name;
    EXPECT_EQ(unit->duration, c.duration) << c.name;
  }
}

TEST(ViewPairJoiner, EmptySecondViewIsAView) {
  const auto owner = ViewPairJoiner::create();
  ViewPairJoiner& joiner = *owner;
  add(joiner, {"base"});
  add(joiner, {""});
  ASSERT_NE(joiner.complete_unit(), nullptr);
  EXPECT_EQ(bytes_of(*joiner.complete_unit()), "base");
}

TEST(ViewPairJoiner, ConsumedPairMakesRoomForTheNext) {
  const auto owner = ViewPairJoiner::create();
  ViewPairJoiner& joiner = *owner;
  for (int pair = 0; pair < 3; ++pair) {
    add(joiner, {"left", pair});
    EXPECT_TRUE(joiner.waiting()) << pair;
    add(joiner, {"right", pair});
    ASSERT_NE(joiner.complete_unit(), nullptr) << pair;
    EXPECT_EQ(joiner.complete_unit()->pts, pair);
    EXPECT_EQ(bytes_of(*joiner.complete_unit()), "leftright");
    av_packet_unref(joiner.complete_unit());
  }
  EXPECT_FALSE(joiner.waiting());
}

struct MismatchCase {
  View first;
  View second;
  const char* error;
};

TEST(ViewPairJoiner, RefusesViewsOfDifferentTimes) {
  for (const MismatchCase& c : {
           MismatchCase{{"a", 3, 1},
                        {"b", 4, 2},
                        "NVENC produced MV-HEVC views with mismatched timestamps (first pts/dts=3/1, second "
                        "pts/dts=4/2)"},
           MismatchCase{
               {"a", -5, -7},
               {"b", 0, -7},
               "NVENC produced MV-HEVC views with mismatched timestamps (first pts/dts=-5/-7, second "
               "pts/dts=0/-7)"},
           MismatchCase{{"a", 0, 0},
                        {"b", AV_NOPTS_VALUE, 0},
                        "NVENC produced MV-HEVC views with mismatched timestamps (first pts/dts=0/0, second "
                        "pts/dts=-9223372036854775808/0)"},
       }) {
    const auto owner = ViewPairJoiner::create();
    ViewPairJoiner& joiner = *owner;
    add(joiner, c.first);
    const PacketPtr second = packet_of(c.second);
    std::string error;
    EXPECT_FALSE(joiner.add(*second, error));
    EXPECT_EQ(error, c.error);
    EXPECT_EQ(joiner.complete_unit(), nullptr);
  }
}

TEST(ViewPairJoiner, RefusesASampleThatNoPacketCanHold) {
  constexpr int largest = std::numeric_limits<int>::max();
  for (const int first_size : {2, 1000}) {
    const auto owner = ViewPairJoiner::create();
    ViewPairJoiner& joiner = *owner;
    add(joiner, {std::string(static_cast<std::size_t>(first_size), 'a')});
    // Only the size is looked at, so the bytes need not be there.
    const PacketPtr second = packet_of({"b"});
    second->size = largest - first_size + 1;
    std::string error;
    EXPECT_FALSE(joiner.add(*second, error));
    EXPECT_EQ(error, "MV-HEVC access unit is too large");
    EXPECT_EQ(second->buf, nullptr) << "the second view is dropped";
    EXPECT_EQ(joiner.complete_unit(), nullptr);
  }
}

TEST(ViewPairJoiner, SaysWhenThereIsNoMemoryForBothViews) {
  const auto owner = ViewPairJoiner::create();
  ViewPairJoiner& joiner = *owner;
  add(joiner, {"base"});
  const PacketPtr second = packet_of({"b"});
  // Fits a packet's size by itself, but not together with the padding that the library adds.
  second->size = std::numeric_limits<int>::max() - 4;
  std::string error;
  EXPECT_FALSE(joiner.add(*second, error));
  EXPECT_EQ(error, "could not combine MV-HEVC view packets: Cannot allocate memory");
  EXPECT_EQ(second->buf, nullptr) << "the second view is dropped";
}

}  // namespace
}  // namespace veyrin::test
