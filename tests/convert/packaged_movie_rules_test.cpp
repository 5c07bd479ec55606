#include "convert/packaged_movie_rules.h"

#include <gtest/gtest.h>

namespace veyrin::test {
namespace {

std::string refused_name(const char* name) {
  std::string error;
  return check_packaged_name(name, error) ? "" : error;
}

TEST(PackagedName, MustHaveAnExtensionOfAContainerForHevc) {
  for (const char* name : {"a.mp4", "A.MP4", "a.mov", "a.mkv", "a.ts", "a.m2ts", "b.c/a.MoV"})
    EXPECT_EQ(refused_name(name), "") << name;
  for (const char* name : {"movie", "a.xyz", "a.txt", "a.m4v", "a.webm", "a.mp4.", ".mp4", "a.hevc", ""}) {
    EXPECT_EQ(refused_name(name),
              "the software HEVC encoder cannot write a file of this name (use .mp4, .mov or .mkv): " +
                  std::string(name));
  }
}

struct SoundCase {
  AVCodecID codec;
  const char* output;
  bool stereo_pass;
  const char* way_out;  ///< the end of the message; empty: it can be copied
};

class PackagedSound : public testing::TestWithParam<SoundCase> {};

TEST_P(PackagedSound, IsCheckedBeforeTheProgramStarts) {
  const InputContextPtr context(avformat_alloc_context());
  AVStream* sound = avformat_new_stream(context.get(), nullptr);
  sound->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
  sound->codecpar->codec_id = GetParam().codec;
  sound->codecpar->sample_rate = 48000;
  sound->codecpar->frame_size = 1024;
  sound->codecpar->bits_per_coded_sample = 16;
  sound->codecpar->block_align = 4;
  av_channel_layout_default(&sound->codecpar->ch_layout, 2);
  sound->time_base = {1, 48000};
  std::string error;
  EXPECT_EQ(check_packaged_sound(GetParam().output, *sound, GetParam().stereo_pass, error),
            *GetParam().way_out == '\0')
      << error;
  EXPECT_TRUE(error.ends_with(GetParam().way_out)) << error;
}

constexpr const char* use_mov =
    "a .mp4 file with software HEVC; convert the sound to AAC first, or give the "
    "output the extension .mov";
constexpr const char* use_mkv = "convert the sound to AAC first, or give the output the extension .mkv";

INSTANTIATE_TEST_SUITE_P(
    Codecs, PackagedSound,
    testing::Values(
        SoundCase{AV_CODEC_ID_AAC, "a.mp4", true, ""}, SoundCase{AV_CODEC_ID_AAC, "a.mov", true, ""},
        SoundCase{AV_CODEC_ID_AAC, "a.mkv", false, ""}, SoundCase{AV_CODEC_ID_AAC, "a.ts", false, ""},
        SoundCase{AV_CODEC_ID_PCM_S16LE, "a.mp4", true, use_mov},
        SoundCase{AV_CODEC_ID_PCM_S16LE, "a.mov", true, ""},
        SoundCase{AV_CODEC_ID_PCM_S16LE, "a.ts", false, "give the output the extension .mov"},
        SoundCase{AV_CODEC_ID_TRUEHD, "a.mp4", false, use_mkv},
        SoundCase{AV_CODEC_ID_EAC3, "a.mkv", false, ""}, SoundCase{AV_CODEC_ID_OPUS, "a.mp4", true, ""},
        SoundCase{AV_CODEC_ID_OPUS, "a.mov", true, use_mkv},
        SoundCase{AV_CODEC_ID_NONE, "a.mp4", false, "; convert the sound to AAC first"}));

}  // namespace
}  // namespace veyrin::test
