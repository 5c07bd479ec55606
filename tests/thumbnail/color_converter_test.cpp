#include "thumbnail/color_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "media/ffmpeg.h"
#include "tests/thumbnail/workers.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin::test {
namespace {

ColorDescription description(ColorMatrix matrix, ColorRange range,
                             ColorTransfer transfer = ColorTransfer::srgb,
                             ColorPrimaries primaries = ColorPrimaries::bt709) {
  ColorDescription result;
  result.matrix.kind = matrix;
  result.range.kind = range;
  result.transfer.kind = transfer;
  result.primaries.kind = primaries;
  return result;
}

ColorConverter converter(ColorMatrix matrix, ColorRange range) {
  return prepare_color_converter(description(matrix, range));
}

struct MatrixCase {
  const char* name;
  ColorMatrix matrix;
  double kr, kb;  ///< luma weights of red and blue
};

constexpr std::array<MatrixCase, 3> matrices{{{"BT.601", ColorMatrix::bt601, 0.299, 0.114},
                                              {"BT.709", ColorMatrix::bt709, 0.2126, 0.0722},
                                              {"BT.2020", ColorMatrix::bt2020, 0.2627, 0.0593}}};

/// R'G'B' codes to Y'CbCr codes by the definition, rounded.
std::array<int, 3> encoded(std::array<double, 3> rgb, const MatrixCase& matrix, bool limited) {
  const double luma = matrix.kr * rgb[0] + (1 - matrix.kr - matrix.kb) * rgb[1] + matrix.kb * rgb[2];
  const double cb = (rgb[2] - luma) / (2 * (1 - matrix.kb)), cr = (rgb[0] - luma) / (2 * (1 - matrix.kr));
  const auto code = [](double value) { return static_cast<int>(std::lround(value)); };
  if (limited) return {code(16 + luma * 219 / 255), code(128 + cb * 224 / 255), code(128 + cr * 224 / 255)};
  return {code(luma), std::min(code(128 + cb), 255), std::min(code(128 + cr), 255)};
}

TEST(ColorConverter, UndoesEachMatrixInEachRange) {
  for (const MatrixCase& matrix : matrices) {
    for (const bool limited : {false, true}) {
      SCOPED_TRACE(std::string(matrix.name) + (limited ? " limited" : " full"));
      const ColorConverter converter = prepare_color_converter(
          description(matrix.matrix, limited ? ColorRange::limited : ColorRange::full));
      // Rounding of the codes comes out at most twice as large in a colour; limited steps are larger.
      const int tolerance = limited ? 3 : 2;
      for (int red = 0; red <= 255; red += 51) {
        for (int green = 0; green <= 255; green += 51) {
          for (int blue = 0; blue <= 255; blue += 51) {
            const auto [y, cb, cr] = encoded({double(red), double(green), double(blue)}, matrix, limited);
            const Rgba rgb = converter.rgb(y, cb, cr);
            EXPECT_NEAR(rgb.red, red, tolerance) << y << " " << cb << " " << cr;
            EXPECT_NEAR(rgb.green, green, tolerance) << y << " " << cb << " " << cr;
            EXPECT_NEAR(rgb.blue, blue, tolerance) << y << " " << cb << " " << cr;
            EXPECT_EQ(rgb.alpha, 255);
          }
        }
      }
    }
  }
}

TEST(ColorConverter, CutsCodesBeyondBlackAndWhite) {
  const ColorConverter limited =
      prepare_color_converter(description(ColorMatrix::bt709, ColorRange::limited));
  EXPECT_EQ(limited.rgb(0, 128, 128), (Rgba{0, 0, 0}));
  EXPECT_EQ(limited.rgb(16, 128, 128), (Rgba{0, 0, 0}));
  EXPECT_EQ(limited.rgb(235, 128, 128), (Rgba{255, 255, 255}));
  EXPECT_EQ(limited.rgb(255, 128, 128), (Rgba{255, 255, 255}));
  const ColorConverter full = prepare_color_converter(description(ColorMatrix::bt601, ColorRange::full));
  EXPECT_EQ(full.rgb(255, 0, 0).blue, 28);  // 255 - 128 * 454 / 256
  for (int grey = 0; grey < 256; ++grey) {
    const auto code = static_cast<std::uint8_t>(grey);
    EXPECT_EQ(full.rgb(grey, 128, 128), (Rgba{code, code, code}));
  }
}

TEST(ColorConverter, KnowsTheTableOfCoefficients) {
  struct Row {
    ColorMatrix matrix;
    ColorRange range;
    std::array<int, 6> values;
  };
  const std::vector<Row> rows{
      {ColorMatrix::bt2020, ColorRange::limited, {16, 298, 430, -48, -167, 548}},
      {ColorMatrix::bt2020, ColorRange::full, {0, 256, 377, -42, -146, 482}},
      {ColorMatrix::bt709, ColorRange::limited, {16, 298, 459, -55, -136, 541}},
      {ColorMatrix::bt709, ColorRange::full, {0, 256, 403, -48, -120, 475}},
      {ColorMatrix::bt601, ColorRange::limited, {16, 298, 409, -100, -208, 516}},
      {ColorMatrix::bt601, ColorRange::full, {0, 256, 359, -88, -183, 454}},
  };
  for (const Row& row : rows) {
    const ColorConverter c = prepare_color_converter(description(row.matrix, row.range));
    EXPECT_EQ((std::array{c.luma_offset, c.luma_scale, c.red_from_cr, c.green_from_cb, c.green_from_cr,
                          c.blue_from_cb}),
              row.values);
  }
}

TEST(ColorConverter, ReadsLightByTheTransfer) {
  const auto of = [](ColorTransfer transfer) {
    return prepare_color_converter(description(ColorMatrix::bt709, ColorRange::full, transfer));
  };
  for (const ColorTransfer transfer : {ColorTransfer::srgb, ColorTransfer::bt709, ColorTransfer::hlg}) {
    const ColorConverter converter = of(transfer);
    EXPECT_EQ(converter.linear[0], 0.0F);
    EXPECT_NEAR(converter.linear[255], 1.0F, 1e-6F);
    for (std::size_t code = 1; code < 256; ++code) {
      EXPECT_GT(converter.linear[code], converter.linear[code - 1]);
      EXPECT_LE(converter.linear[code], 1.0F);
    }
    EXPECT_EQ(converter.hlg, transfer == ColorTransfer::hlg);
  }
  // IEC 61966-2-1 on both sides of its joint; a power; BT.2100's curve, of which 0.5 is a twelfth.
  EXPECT_NEAR(of(ColorTransfer::srgb).linear[10], 0.00303527, 1e-7);
  EXPECT_NEAR(of(ColorTransfer::srgb).linear[188], 0.502886, 1e-6);
  EXPECT_NEAR(of(ColorTransfer::bt709).linear[127], 0.215764, 1e-6);
  EXPECT_NEAR(of(ColorTransfer::hlg).linear[127], 0.0826810, 1e-6);
  EXPECT_NEAR(of(ColorTransfer::hlg).linear[191], 0.263644, 1e-5);
}

TEST(ColorConverter, TellsWideGamutByThePrimaries) {
  EXPECT_TRUE(prepare_color_converter(description(ColorMatrix::bt709, ColorRange::full, ColorTransfer::srgb,
                                                  ColorPrimaries::bt2020))
                  .wide_gamut);
  EXPECT_FALSE(prepare_color_converter(description(ColorMatrix::bt2020, ColorRange::full, ColorTransfer::hlg))
                   .wide_gamut);
}

/// A frame whose components hold these values everywhere, written by FFmpeg's own description of the format.
FramePtr uniform_frame(AVPixelFormat format, int width, int height, const std::vector<int>& values) {
  FramePtr frame = allocate_video_frame(format, {width, height});
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
    const auto image = image_of_frame(*frame, colors, workers());
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
    const auto image = image_of_frame(*frame, converter(ColorMatrix::bt601, ColorRange::full), workers());
    ASSERT_TRUE(image);
    EXPECT_NEAR(image->row(9)[19].red, 10, 1);
    EXPECT_NEAR(image->row(9)[19].green, 200, 1);
    EXPECT_NEAR(image->row(9)[19].blue, 77, 1);
    EXPECT_EQ(image->row(9)[19].alpha, 255);
  }
}

TEST(FrameImage, OfGreyPicturesIsGrey) {
  const FramePtr frame = uniform_frame(AV_PIX_FMT_GRAY8, 16, 16, {77});
  const auto image = image_of_frame(*frame, converter(ColorMatrix::bt601, ColorRange::full), workers());
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
    const auto image = image_of_frame(*frame, converter(ColorMatrix::bt709, ColorRange::full), workers());
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
  const auto image = image_of_frame(*frame, converter(ColorMatrix::bt709, ColorRange::full), workers());
  ASSERT_TRUE(image);
  for (int x = 0; x < 1024; ++x) ASSERT_NEAR(image->row(0)[x].green, std::min(x / 4.0, 255.0), 0.51) << x;
}

TEST(FrameImage, WorksDownToASinglePixel) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 7}, {7, 1}, {2, 2}, {3, 5}}) {
    const FramePtr frame = uniform_frame(AV_PIX_FMT_YUV420P, width, height, {120, 128, 128});
    const auto image = image_of_frame(*frame, converter(ColorMatrix::bt709, ColorRange::full), workers());
    ASSERT_TRUE(image) << width << "x" << height;
    EXPECT_EQ(image->row(height - 1)[width - 1], (Rgba{120, 120, 120})) << width << "x" << height;
  }
}

TEST(FrameImage, IsRefusedForFramesOutsideSystemMemory) {
  FramePtr frame(av_frame_alloc());
  frame->format = AV_PIX_FMT_D3D11;
  frame->width = frame->height = 16;
  EXPECT_FALSE(image_of_frame(*frame, converter(ColorMatrix::bt709, ColorRange::full), workers()));
}

}  // namespace
}  // namespace veyrin::test
