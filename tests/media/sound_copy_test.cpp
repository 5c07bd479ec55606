#include "media/sound_copy.h"

#include <gtest/gtest.h>

namespace veyrin::test {
namespace {

/// A stream of sound that no file lies behind.
class Sound {
 public:
  explicit Sound(AVCodecID codec) {
    AVStream* stream = avformat_new_stream(context_.get(), nullptr);
    stream->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    stream->codecpar->codec_id = codec;
    stream->codecpar->codec_tag = MKTAG('x', 'y', 'z', 'w');
    stream->codecpar->sample_rate = 48000;
    stream->codecpar->frame_size = 1024;
    stream->codecpar->bits_per_coded_sample = 16;
    stream->codecpar->block_align = 4;
    av_channel_layout_default(&stream->codecpar->ch_layout, 2);
    stream->time_base = {1, 48000};
  }

  [[nodiscard]] const AVStream& stream() const { return *context_->streams[0]; }

 private:
  InputContextPtr context_{avformat_alloc_context()};
};

bool can_copy(const char* container, AVCodecID codec) {
  return can_copy_sound(container, Sound(codec).stream());
}

TEST(SoundCopy, IsPossibleWhereTheMuxerTakesTheSound) {
  for (const char* container : {"mp4", "mov", "matroska"}) {
    EXPECT_TRUE(can_copy(container, AV_CODEC_ID_AAC)) << container;
    EXPECT_TRUE(can_copy(container, AV_CODEC_ID_AC3)) << container;
    EXPECT_FALSE(can_copy(container, AV_CODEC_ID_NONE)) << container;
  }
  EXPECT_TRUE(can_copy("mov", AV_CODEC_ID_PCM_S16LE));
  EXPECT_FALSE(can_copy("mov", AV_CODEC_ID_ADPCM_G726LE));
  EXPECT_FALSE(can_copy("mp4", AV_CODEC_ID_SPEEX));
}

TEST(SoundCopy, FailureNamesCodecTargetAndWayOut) {
  EXPECT_EQ(
      sound_failure_text(Sound(AV_CODEC_ID_OPUS).stream(), "a mov file", ".mkv"),
      "the recording's sound (opus) cannot be copied into a mov file; convert the sound to AAC first, or "
      "give the output the extension .mkv");
  EXPECT_EQ(
      sound_failure_text(Sound(AV_CODEC_ID_NONE).stream(), "a spatial movie", ""),
      "the recording's sound (unknown codec xyzw) cannot be copied into a spatial movie; convert the sound "
      "to AAC first");
}

}  // namespace
}  // namespace veyrin::test
