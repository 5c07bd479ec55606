#include "thumbnail/frame_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "media/ffmpeg.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin::test {
namespace {

ColorConverter converter(ColorMatrix matrix, ColorRange range) {
  ColorDescription description;
  description.matrix.kind = matrix;
  description.range.kind = range;
  return prepare_color_converter(description);
}

/// A frame whose components hold these values everywhere, written by FFmpeg's own description of the format.
FramePtr uniform_frame(AVPixelFormat format, int width, int height, const std::vector<int>& values) {
  FramePtr frame = allocate_video_frame(format, width, height);
  // The writing function below only adds bits.
  for (const AVBufferRef* buffer : frame->buf) {
    if (buffer != nullptr) std::memset(buffer->data, 0, buffer->size);
  }
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
  for (int component = 0; component < description->nb_components; ++component) {
    const bool chroma = component == 1 || component == 2;
    const bool halved = chroma && (description->flags & AV_PIX_FMT_FLAG_RGB) == 0;
    const int columns = halved ? AV_CEIL_RSHIFT(width, description->log2_chroma_w) : width;
    const int rows = halved ? AV_CEIL_RSHIFT(height, description->log2_chroma_h) : height;
    const std::vector<std::uint16_t> line(
        static_cast<std::size_t>(columns),
        static_cast<std::uint16_t>(values[static_cast<std::size_t>(component)]));
    for (int y = 0; y < rows; ++y) {
      std::uint8_t* target[4] = {frame->data[0], frame->data[1], frame->data[2], frame->data[3]};
      av_write_image_line(line.data(), target, frame->linesize, description, 0, y, component, columns);
    }
  }
  return frame;
}

struct FormatCase {
  AVPixelFormat format;
  std::vector<int> values;
};

TEST(FrameImage, HoldsTheCodesOfEveryYuvLayoutAndDepth) {
  // One colour, Y'CbCr (120, 90, 160) in limited range, at each depth.
  const std::vector<FormatCase> cases{
      {AV_PIX_FMT_YUV420P, {120, 90, 160}},
      {AV_PIX_FMT_YUVJ420P, {120, 90, 160}},
      {AV_PIX_FMT_NV12, {120, 90, 160}},
      {AV_PIX_FMT_YUV422P, {120, 90, 160}},
      {AV_PIX_FMT_YUV444P, {120, 90, 160}},
      {AV_PIX_FMT_YUV411P, {120, 90, 160}},
      {AV_PIX_FMT_YUV420P10LE, {480, 360, 640}},
      {AV_PIX_FMT_P010LE, {480, 360, 640}},
      {AV_PIX_FMT_YUV422P10LE, {480, 360, 640}},
      {AV_PIX_FMT_YUV444P12LE, {1920, 1440, 2560}},
      {AV_PIX_FMT_YUVA420P, {120, 90, 160, 40}},
      {AV_PIX_FMT_YUYV422, {120, 90, 160}},
      {AV_PIX_FMT_YUVA444P10LE, {480, 360, 640, 10}},
  };
  const ColorConverter colors = converter(ColorMatrix::bt709, ColorRange::limited);
  const Rgba expected = colors.rgb(120, 90, 160);
  for (const FormatCase& layout : cases) {
    SCOPED_TRACE(av_get_pix_fmt_name(layout.format));
    const FramePtr frame = uniform_frame(layout.format, 38, 22, layout.values);
    const auto image = image_of_frame(*frame, colors);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 38);
    EXPECT_EQ(image->height(), 22);
    for (const auto& [x, y] : {std::pair{0, 0}, {37, 21}, {19, 7}}) EXPECT_EQ(image->row(y)[x], expected);
  }
}

TEST(FrameImage, HoldsTheCodesOfRgbPicturesAsTheyAre) {
  const std::vector<FormatCase> cases{{AV_PIX_FMT_RGB24, {10, 200, 77}},
                                      {AV_PIX_FMT_BGRA, {10, 200, 77, 3}},
                                      {AV_PIX_FMT_GBRP, {10, 200, 77}},
                                      {AV_PIX_FMT_RGB48LE, {10 * 257, 200 * 257, 77 * 257}},
                                      {AV_PIX_FMT_GBRP10LE, {40, 803, 309}}};
  for (const FormatCase& layout : cases) {
    SCOPED_TRACE(av_get_pix_fmt_name(layout.format));
    const FramePtr frame = uniform_frame(layout.format, 20, 10, layout.values);
    const auto image = image_of_frame(*frame, converter(ColorMatrix::bt601, ColorRange::full));
    ASSERT_TRUE(image);
    EXPECT_NEAR(image->row(9)[19].red, 10, 1);
    EXPECT_NEAR(image->row(9)[19].green, 200, 1);
    EXPECT_NEAR(image->row(9)[19].blue, 77, 1);
    EXPECT_EQ(image->row(9)[19].alpha, 255);
  }
}

TEST(FrameImage, OfGreyPicturesIsGrey) {
  const FramePtr frame = uniform_frame(AV_PIX_FMT_GRAY8, 16, 16, {77});
  const auto image = image_of_frame(*frame, converter(ColorMatrix::bt601, ColorRange::full));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->row(8)[8], (Rgba{77, 77, 77}));
}

TEST(FrameImage, KeepsEveryLumaCodeAtItsPlace) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12}) {
    SCOPED_TRACE(av_get_pix_fmt_name(format));
    const FramePtr frame = uniform_frame(format, 256, 4, {0, 128, 128});
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 256; ++x) {
        frame->data[0][y * frame->linesize[0] + x] = static_cast<std::uint8_t>((x + 60 * y) & 255);
      }
    }
    const auto image = image_of_frame(*frame, converter(ColorMatrix::bt709, ColorRange::full));
    ASSERT_TRUE(image);
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 256; ++x) ASSERT_EQ(image->row(y)[x].green, (x + 60 * y) & 255) << x << " " << y;
    }
  }
}

TEST(FrameImage, RoundsTenBitsToTheNearestCode) {
  const FramePtr frame = uniform_frame(AV_PIX_FMT_YUV420P10LE, 1024, 2, {0, 512, 512});
  for (int x = 0; x < 1024; ++x) {
    const auto code = static_cast<std::uint16_t>(x);
    std::memcpy(frame->data[0] + 2 * x, &code, 2);
  }
  const auto image = image_of_frame(*frame, converter(ColorMatrix::bt709, ColorRange::full));
  ASSERT_TRUE(image);
  for (int x = 0; x < 1024; ++x) ASSERT_NEAR(image->row(0)[x].green, std::min(x / 4.0, 255.0), 0.51) << x;
}

TEST(FrameImage, WorksDownToASinglePixel) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 7}, {7, 1}, {2, 2}, {3, 5}}) {
    const FramePtr frame = uniform_frame(AV_PIX_FMT_YUV420P, width, height, {120, 128, 128});
    const auto image = image_of_frame(*frame, converter(ColorMatrix::bt709, ColorRange::full));
    ASSERT_TRUE(image) << width << "x" << height;
    EXPECT_EQ(image->row(height - 1)[width - 1], (Rgba{120, 120, 120})) << width << "x" << height;
  }
}

TEST(FrameImage, IsRefusedForFramesOutsideSystemMemory) {
  FramePtr frame(av_frame_alloc());
  frame->format = AV_PIX_FMT_D3D11;
  frame->width = frame->height = 16;
  EXPECT_FALSE(image_of_frame(*frame, converter(ColorMatrix::bt709, ColorRange::full)));
}

}  // namespace
}  // namespace veyrin::test
