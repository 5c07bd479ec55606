#include <gtest/gtest.h>

#include "convert/packet_conversion.h"

namespace veyrin::test {
namespace {

class TrackEnds : public testing::Test {
 protected:
  TrackEnds() : context_(avformat_alloc_context()), stream_(avformat_new_stream(context_.get(), nullptr)) {}

  void index(std::int64_t timestamp) {
    ASSERT_GE(av_add_index_entry(stream_, /*pos=*/timestamp, timestamp, /*size=*/1, 0, AVINDEX_KEYFRAME), 0);
  }

  void see(std::int64_t dts) {
    const PacketPtr packet(av_packet_alloc());
    packet->dts = dts;
    end_.saw_packet(*packet);
  }

  InputContextPtr context_;
  AVStream* stream_;
  TrackEnd end_;
};

TEST_F(TrackEnds, WithoutAnIndexNothingIsToBeExpected) {
  EXPECT_TRUE(end_.reached(*stream_));
}

TEST_F(TrackEnds, IsReachedWithTheLastPacketOfTheIndex) {
  for (const std::int64_t timestamp : {0, 100, 200}) index(timestamp);
  EXPECT_FALSE(end_.reached(*stream_)) << "no packet was seen";
  see(100);
  EXPECT_FALSE(end_.reached(*stream_));
  see(200);
  EXPECT_TRUE(end_.reached(*stream_));
}

TEST_F(TrackEnds, AGrownIndexMovesIt) {
  index(0);
  see(0);
  EXPECT_TRUE(end_.reached(*stream_));
  index(100);
  EXPECT_FALSE(end_.reached(*stream_));
}

}  // namespace
}  // namespace veyrin::test
