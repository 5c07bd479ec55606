#include <gtest/gtest.h>

#include "convert/movie_outputs.h"

namespace veyrin::test {
namespace {

const AVOutputFormat* container(const char* name) {
  return av_guess_format(name, nullptr, nullptr);
}

TEST(EncoderRequest, IsMadeForTheWholeCanvas) {
  const PicturePlan picture{.eye = {600, 480},
                            .eye_box = {640, 480},
                            .depth = BitDepth::ten,
                            .rate = {24, 1},
                            .input_colors = {.matrix = AVCOL_SPC_BT470BG}};
  CanvasMoviePlan movie;
  movie.codec = SbsCodec::h264;
  movie.bitrate = "12M";
  const EncoderRequest request = encoder_request(picture, movie, /*software=*/true);
  EXPECT_EQ(request.codec, SbsCodec::h264);
  EXPECT_EQ(request.canvas, (Size{1280, 480}));
  EXPECT_EQ(request.depth, BitDepth::ten);
  EXPECT_EQ(av_cmp_q(request.frame_rate, {24, 1}), 0);
  EXPECT_TRUE(request.software);
  EXPECT_EQ(request.bitrate, "12M");
  EXPECT_EQ(request.input_colors, picture.input_colors);
  movie.layout = OutputLayout::half_sbs;
  EXPECT_EQ(encoder_request(picture, movie, false).canvas, (Size{640, 480}));
  movie.layout = OutputLayout::mono_left;
  EXPECT_EQ(encoder_request(picture, movie, false).canvas, (Size{640, 480}));
}

TEST(EncoderRequest, WantsAGlobalHeaderWhereTheContainerDoes) {
  CanvasMoviePlan movie;
  EXPECT_FALSE(encoder_request({}, movie, false).global_header) << "no container is known";
  movie.container = container("mp4");
  EXPECT_TRUE(encoder_request({}, movie, false).global_header);
}

TEST(PackagedRequest, RepeatsTheSettingsOfTheSelection) {
  const CodecContextPtr settings(avcodec_alloc_context3(nullptr));
  settings->width = 1280;
  settings->height = 480;
  settings->framerate = {25, 1};
  settings->bit_rate = 1234567;
  settings->pix_fmt = AV_PIX_FMT_P010LE;
  settings->color_primaries = AVCOL_PRI_BT2020;
  settings->color_range = AVCOL_RANGE_JPEG;
  const FilePlan files{.input = "in.mp4", .output = "out.mp4", .overwrite = true, .has_audio = true};
  const SoftwareEncodeRequest request = software_encode_request(files, {1.0, 2.0}, {}, *settings);
  EXPECT_EQ(request.input, "in.mp4");
  EXPECT_EQ(request.output, "out.mp4");
  EXPECT_EQ(request.size, (Size{1280, 480}));
  EXPECT_EQ(av_cmp_q(request.frame_rate, {25, 1}), 0);
  EXPECT_EQ(request.bit_rate, 1234567);
  EXPECT_EQ(request.range.start, 1.0);
  EXPECT_EQ(request.range.duration, 2.0);
  EXPECT_EQ(request.colors.primaries, AVCOL_PRI_BT2020);
  EXPECT_EQ(request.colors.range, AVCOL_RANGE_JPEG);
  EXPECT_TRUE(request.has_audio);
  EXPECT_TRUE(request.overwrite);
  EXPECT_EQ(request.depth, BitDepth::ten);
  EXPECT_FALSE(request.finish_pass);
  settings->pix_fmt = AV_PIX_FMT_YUV420P;
  EXPECT_EQ(software_encode_request(files, {}, {}, *settings).depth, BitDepth::eight);
}

TEST(PackagedRequest, HasAStereoPassForMoviesOfTheMp4FamilyOnly) {
  const CodecContextPtr settings(avcodec_alloc_context3(nullptr));
  CanvasMoviePlan movie;
  EXPECT_FALSE(wants_stereo_pass(movie, "out.mp4")) << "not wished for";
  movie.st3d = true;
  for (const char* name : {"out.mp4", "out.mov", "OUT.MP4"}) {
    EXPECT_TRUE(wants_stereo_pass(movie, name)) << name;
    FilePlan files;
    files.output = name;
    EXPECT_TRUE(software_encode_request(files, {}, movie, *settings).finish_pass) << name;
  }
  for (const char* name : {"out.mkv", "out.ts", "out"}) EXPECT_FALSE(wants_stereo_pass(movie, name)) << name;
}

}  // namespace
}  // namespace veyrin::test
