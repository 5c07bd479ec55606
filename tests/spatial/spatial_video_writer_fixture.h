// A spatial writer with the fake encoder, the eyes and the sound it is given, and the file it leaves.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "media/ffmpeg.h"
#include "media/video_types.h"
#include "spatial/nvenc_two_view_encoder.h"
#include "spatial/spatial_video_writer.h"
#include "tests/spatial/fake_encoder.h"
#include "tests/support/mp4_boxes.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {

/// A writer of the driver's encoder as `calls` answer for it; null with one message in `error` on failure.
inline std::unique_ptr<SpatialVideoWriter> create_nvenc_writer(const SpatialWriterConfig& config,
                                                               std::string& error,
                                                               const SpatialEncoderCalls& calls) {
  auto encoder = NvencTwoViewEncoder::create(config, error, calls);
  return encoder ? SpatialVideoWriter::create(config, std::move(encoder), error) : nullptr;
}

class SpatialVideoWriterFixture : public testing::Test {
 public:
  static constexpr int width = 64;
  static constexpr int height = 64;
  static constexpr std::size_t luma_samples = std::size_t{width} * height;

  /// A picture of one value.
  static FramePtr eye_of(std::uint8_t luma, BitDepth depth = BitDepth::eight) {
    FramePtr eye = allocate_video_frame(semi_planar_format(depth), {width, height});
    for (int plane = 0; plane < 2; ++plane) {
      const int rows = plane == 0 ? height : height / 2;
      std::memset(eye->data[plane], luma, static_cast<std::size_t>(eye->linesize[plane]) * rows);
    }
    return eye;
  }

  /// A sound track of 1024-sample packets.
  class Sound {
   public:
    Sound() : parameters_(avcodec_parameters_alloc()) {
      parameters_->codec_type = AVMEDIA_TYPE_AUDIO;
      parameters_->codec_id = AV_CODEC_ID_AAC;
      parameters_->codec_tag = MKTAG('x', 'x', 'x', 'x');
      parameters_->sample_rate = 48000;
      parameters_->frame_size = 1024;
      av_channel_layout_default(&parameters_->ch_layout, 2);
      constexpr std::uint8_t header[] = {0x11, 0x90};
      parameters_->extradata = static_cast<std::uint8_t*>(av_mallocz(2 + AV_INPUT_BUFFER_PADDING_SIZE));
      std::memcpy(parameters_->extradata, header, 2);
      parameters_->extradata_size = 2;
    }

    [[nodiscard]] const AVCodecParameters* parameters() const { return parameters_.get(); }

    static PacketPtr packet(int number) {
      PacketPtr packet(av_packet_alloc());
      const std::string bytes = "sound " + std::to_string(number);
      EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
      std::memcpy(packet->data, bytes.data(), bytes.size());
      packet->pts = packet->dts = std::int64_t{number} * 1024;
      packet->duration = 1024;
      packet->flags = AV_PKT_FLAG_KEY;
      packet->stream_index = 5;
      packet->pos = 4711;
      return packet;
    }

   private:
    CodecParametersPtr parameters_;
  };

  SpatialVideoWriterFixture() {
    av_log_set_level(AV_LOG_QUIET);
    config.output_path = folder / "out.mov";
    config.eye = {width, height};
    config.frame_rate = {25, 1};
    config.bit_rate = 1'000'000;
    config.colors = {AVCOL_PRI_BT709, AVCOL_TRC_BT709, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG};
  }

  /// The movie also gets a sound track, with the times of its packets in samples or as said.
  void add_sound(AVRational time_base = {1, 48000}) {
    config.audio_parameters = sound.parameters();
    config.audio_time_base = time_base;
  }

  void create() {
    writer = create_nvenc_writer(config, error, encoder.calls());
    ASSERT_NE(writer, nullptr) << error;
  }

  bool write(std::int64_t pts) {
    return writer->write_eye_pair(*eye_of(static_cast<std::uint8_t>(20 + pts)),
                                  *eye_of(static_cast<std::uint8_t>(120 + pts)), pts, error);
  }

  void write_pairs(int count) {
    for (int pts = 0; pts < count; ++pts) ASSERT_TRUE(write(pts)) << error;
  }

  void read_file() {
    bytes = file_text(config.output_path);
    boxes = read_boxes(bytes);
  }

  [[nodiscard]] std::vector<std::string> samples(std::string_view kind) const {
    const auto found = track_samples(bytes, track_of_kind(boxes, kind));
    return {found.begin(), found.end()};
  }

  /// A sample as the file holds it: each view's NAL unit with its length in front.
  static std::string sample_of(std::int64_t pts) {
    std::string sample;
    for (const int view : {0, 1}) {
      const std::string unit = coded_view(view, pts).substr(4);
      sample += std::string(3, '\0') + static_cast<char>(unit.size()) + unit;
    }
    return sample;
  }

  void expect_pairs(int count) {
    read_file();
    std::vector<std::string> expected;
    for (int pts = 0; pts < count; ++pts) expected.push_back(sample_of(pts));
    EXPECT_EQ(samples("vide"), expected) << box_tree(boxes);
  }

  TemporaryFolder folder;
  FakeEncoder encoder;
  const Sound sound;
  SpatialWriterConfig config;
  std::string error;
  std::unique_ptr<SpatialVideoWriter> writer;
  std::string bytes;
  Mp4Box boxes;
};

}  // namespace veyrin::test
