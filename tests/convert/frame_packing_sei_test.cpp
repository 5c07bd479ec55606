#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "convert/sbs_stereo_metadata.h"
#include "media/ffmpeg.h"

namespace veyrin::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

PacketPtr packet_of(const Bytes& content, int flags) {
  PacketPtr packet(av_packet_alloc());
  if (av_new_packet(packet.get(), static_cast<int>(content.size())) != 0) return nullptr;
  std::copy(content.begin(), content.end(), packet->data);
  packet->flags = flags;
  return packet;
}

Bytes bytes_of(const AVPacket& packet) {
  return {packet.data, packet.data + packet.size};
}

/// Writes bits, the highest one of each byte first.
class BitWriter {
 public:
  void put(unsigned value, int bits) {
    for (int bit = bits - 1; bit >= 0; --bit) {
      if (used_ % 8 == 0) bytes_.push_back(0);
      bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | ((value >> bit & 1U) << (7 - used_++ % 8)));
    }
  }
  /// Exp-Golomb code.
  void put_ue(unsigned value) {
    int length = 0;
    while ((value + 1) >> (length + 1) != 0) ++length;
    put(0, length);
    put(value + 1, length + 1);
  }
  /// One set bit, then zeros up to the byte's end.
  void close() {
    put(1, 1);
    while (used_ % 8 != 0) put(0, 1);
  }
  [[nodiscard]] const Bytes& bytes() const { return bytes_; }

 private:
  Bytes bytes_;
  int used_ = 0;
};

// The fields in the order of the H.264 syntax table of the frame packing arrangement message.
Bytes arrangement_payload() {
  BitWriter writer;
  writer.put_ue(0);   // arrangement id
  writer.put(0, 1);   // cancel flag
  writer.put(3, 7);   // type: side by side
  writer.put(0, 1);   // quincunx sampling
  writer.put(1, 6);   // content interpretation: frame 0 is the left view
  writer.put(0, 6);   // spatial flipping, frame 0 flipped, field views, current frame, self-contained x 2
  writer.put(0, 16);  // grid positions x 4
  writer.put(0, 8);   // reserved
  writer.put_ue(1);   // repetition period
  writer.put(0, 1);   // extension flag
  writer.close();
  return writer.bytes();
}

// An SEI NAL unit with start code and emulation prevention.
Bytes sei_unit(std::uint8_t type, const Bytes& payload) {
  Bytes raw{0x06, type, static_cast<std::uint8_t>(payload.size())};
  raw.insert(raw.end(), payload.begin(), payload.end());
  raw.push_back(0x80);
  Bytes unit{0, 0, 0, 1};
  int zeros = 0;
  for (const std::uint8_t byte : raw) {
    if (zeros == 2 && byte <= 3) {
      unit.push_back(3);
      zeros = 0;
    }
    unit.push_back(byte);
    zeros = byte == 0 ? zeros + 1 : 0;
  }
  return unit;
}

TEST(FramePackingSei, IsTheMessageThatItsFieldsEncodeTo) {
  const Bytes payload = arrangement_payload();
  EXPECT_EQ(payload.size(), 7U);
  EXPECT_EQ(Bytes(frame_packing_sei.begin(), frame_packing_sei.end()), sei_unit(45, payload));
}

TEST(FramePackingSei, StandsInFrontOfAKeyFrame) {
  const Bytes slice{0, 0, 0, 1, 0x65, 0x88, 0x84};
  const PacketPtr packet = packet_of(slice, AV_PKT_FLAG_KEY);
  std::string error;
  ASSERT_TRUE(add_frame_packing_sei(AV_CODEC_ID_H264, *packet, error)) << error;
  EXPECT_EQ(bytes_of(*packet), (Bytes{0x00, 0x00, 0x00, 0x01, 0x06, 0x2D, 0x07, 0x81, 0x81, 0x00, 0x00, 0x03,
                                      0x00, 0x01, 0x20, 0x80, 0x00, 0x00, 0x00, 0x01, 0x65, 0x88, 0x84}));
}

TEST(FramePackingSei, KeepsTheBytesOfLargePackets) {
  Bytes content(100000);
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  const PacketPtr packet = packet_of(content, AV_PKT_FLAG_KEY);
  std::string error;
  ASSERT_TRUE(add_frame_packing_sei(AV_CODEC_ID_H264, *packet, error)) << error;
  const Bytes result = bytes_of(*packet);
  ASSERT_EQ(result.size(), content.size() + 16);
  EXPECT_EQ(Bytes(result.begin() + 16, result.end()), content);
  // Decoders read beyond the end and want zeros there.
  for (int i = 0; i < AV_INPUT_BUFFER_PADDING_SIZE; ++i) EXPECT_EQ(packet->data[packet->size + i], 0);
}

TEST(FramePackingSei, MakesAnEmptyKeyFrameTheMessageItself) {
  for (const bool with_buffer : {false, true}) {
    const PacketPtr packet = with_buffer ? packet_of({}, 0) : PacketPtr(av_packet_alloc());
    packet->flags = AV_PKT_FLAG_KEY;
    std::string error;
    ASSERT_TRUE(add_frame_packing_sei(AV_CODEC_ID_H264, *packet, error)) << error;
    EXPECT_EQ(bytes_of(*packet), Bytes(frame_packing_sei.begin(), frame_packing_sei.end()));
  }
}

TEST(FramePackingSei, LeavesOtherPacketsAndCodecsAlone) {
  const Bytes content{0, 0, 0, 1, 0x41, 0x9a};
  const struct {
    AVCodecID codec;
    int flags;
  } cases[] = {
      {AV_CODEC_ID_H264, 0},
      {AV_CODEC_ID_H264, AV_PKT_FLAG_DISPOSABLE},
      {AV_CODEC_ID_HEVC, AV_PKT_FLAG_KEY},
      {AV_CODEC_ID_PRORES, AV_PKT_FLAG_KEY},
  };
  for (const auto& one : cases) {
    const PacketPtr packet = packet_of(content, one.flags);
    const std::uint8_t* const data = packet->data;
    std::string error;
    ASSERT_TRUE(add_frame_packing_sei(one.codec, *packet, error)) << error;
    EXPECT_EQ(bytes_of(*packet), content) << avcodec_get_name(one.codec) << " flags " << one.flags;
    EXPECT_EQ(packet->data, data);
  }
}

TEST(FramePackingSei, KeepsTimesFlagsAndSideDataOfThePacket) {
  const PacketPtr packet = packet_of({1, 2, 3}, AV_PKT_FLAG_KEY);
  packet->pts = 40;
  packet->dts = 20;
  packet->duration = 10;
  packet->stream_index = 3;
  std::uint8_t* side = av_packet_new_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, 5);
  ASSERT_NE(side, nullptr);
  std::string error;
  ASSERT_TRUE(add_frame_packing_sei(AV_CODEC_ID_H264, *packet, error)) << error;
  EXPECT_EQ(packet->pts, 40);
  EXPECT_EQ(packet->dts, 20);
  EXPECT_EQ(packet->duration, 10);
  EXPECT_EQ(packet->stream_index, 3);
  EXPECT_EQ(packet->flags, AV_PKT_FLAG_KEY);
  EXPECT_EQ(av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, nullptr), side);
}

TEST(FramePackingSei, DoesNotTouchBytesThatAnotherPacketShares) {
  const Bytes content{0, 0, 0, 1, 0x65, 0x11, 0x22};
  const PacketPtr packet = packet_of(content, AV_PKT_FLAG_KEY);
  const PacketPtr shared(av_packet_clone(packet.get()));
  std::string error;
  ASSERT_TRUE(add_frame_packing_sei(AV_CODEC_ID_H264, *packet, error)) << error;
  EXPECT_EQ(bytes_of(*shared), content);
}

TEST(FramePackingSei, APacketThatCannotGrowIsAnErrorAndStaysAsItIs) {
  const PacketPtr packet = packet_of({1, 2, 3}, AV_PKT_FLAG_KEY);
  const int true_size = packet->size;
  packet->size = INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE - 15;
  std::string error;
  EXPECT_FALSE(add_frame_packing_sei(AV_CODEC_ID_H264, *packet, error));
  EXPECT_EQ(error, "could not add H.264 frame-packing SEI: Cannot allocate memory");
  packet->size = true_size;
  EXPECT_EQ(bytes_of(*packet), (Bytes{1, 2, 3}));
}

}  // namespace
}  // namespace veyrin::test
