#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "media/ffmpeg.h"
#include "spatial/spatial_video_writer.h"

namespace veyrin::test {
namespace {

constexpr int width = 64;
constexpr int height = 48;

/// A frame as an encoder of that format and those tags prepares it.
FramePtr encoder_frame(AVPixelFormat format, AVColorSpace matrix, AVColorRange range) {
  FramePtr frame = allocate_video_frame(format, {width, height});
  frame->colorspace = matrix;
  frame->color_range = range;
  return frame;
}

std::unique_ptr<EyeConverter> converter_for(const AVFrame& encoder) {
  std::string error;
  auto converter = EyeConverter::create(encoder, error);
  EXPECT_NE(converter, nullptr) << error;
  return converter;
}

int plane_rows(int plane) {
  return plane == 0 ? height : height / 2;
}

/// Both formats of the encoder are semi-planar: each row has as many samples in either plane.
std::vector<std::uint8_t> plane_bytes(const AVFrame& frame, int plane) {
  const int row_bytes = width * (frame.format == AV_PIX_FMT_P010LE ? 2 : 1);
  std::vector<std::uint8_t> bytes;
  for (int row = 0; row < plane_rows(plane); ++row) {
    const std::uint8_t* begin = frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane];
    bytes.insert(bytes.end(), begin, begin + row_bytes);
  }
  return bytes;
}

FramePtr random_frame(AVPixelFormat format) {
  FramePtr frame = allocate_video_frame(format, {width, height});
  std::mt19937 random(1);
  for (int plane = 0; plane < 2; ++plane) {
    for (int row = 0; row < plane_rows(plane); ++row) {
      std::uint8_t* begin = frame->data[plane] + static_cast<std::ptrdiff_t>(row) * frame->linesize[plane];
      for (int byte = 0; byte < frame->linesize[plane]; ++byte) begin[byte] = random() & 0xFFU;
      if (format != AV_PIX_FMT_P010LE) continue;
      for (int column = 0; column < width; ++column) begin[std::ptrdiff_t{2} * column] &= 0xC0U;
    }
  }
  return frame;
}

TEST(SwscaleCoefficients, FollowTheMatrix) {
  struct MatrixCase {
    AVColorSpace matrix;
    int table;
  };
  for (const MatrixCase& c : {
           MatrixCase{AVCOL_SPC_BT709, SWS_CS_ITU709},
           MatrixCase{AVCOL_SPC_FCC, SWS_CS_FCC},
           MatrixCase{AVCOL_SPC_SMPTE240M, SWS_CS_SMPTE240M},
           MatrixCase{AVCOL_SPC_BT2020_NCL, SWS_CS_BT2020},
           MatrixCase{AVCOL_SPC_BT2020_CL, SWS_CS_BT2020},
           MatrixCase{AVCOL_SPC_UNSPECIFIED, SWS_CS_DEFAULT},
           MatrixCase{AVCOL_SPC_BT470BG, SWS_CS_DEFAULT},
           MatrixCase{AVCOL_SPC_SMPTE170M, SWS_CS_DEFAULT},
           MatrixCase{AVCOL_SPC_RGB, SWS_CS_DEFAULT},
           MatrixCase{AVCOL_SPC_ICTCP, SWS_CS_DEFAULT},
       }) {
    EXPECT_EQ(swscale_coefficients(c.matrix), c.table) << c.matrix;
  }
}

// Range and matrix of the movie must not touch what the processor has made for it.
TEST(EyeConverter, EyesInTheEncodersFormatAreCopiedAsTheyAre) {
  for (const AVPixelFormat format : {AV_PIX_FMT_NV12, AV_PIX_FMT_P010LE}) {
    for (const AVColorSpace matrix : {AVCOL_SPC_BT709, AVCOL_SPC_BT2020_NCL, AVCOL_SPC_UNSPECIFIED}) {
      for (const AVColorRange range : {AVCOL_RANGE_JPEG, AVCOL_RANGE_MPEG}) {
        const auto encoder = encoder_frame(format, matrix, range);
        const auto converter = converter_for(*encoder);
        const FramePtr eye = random_frame(format);
        const FramePtr target = allocate_video_frame(format, {width, height});
        // As the writer sets up its frames and the processor does not.
        target->color_range = range;
        target->colorspace = matrix;
        std::string error;
        for (int pair = 0; pair < 2; ++pair) {
          ASSERT_TRUE(converter->convert(*eye, *target, error)) << error;
          for (int plane = 0; plane < 2; ++plane)
            EXPECT_TRUE(plane_bytes(*eye, plane) == plane_bytes(*target, plane)) << format << ' ' << range;
        }
      }
    }
  }
}

struct Color {
  double red, green, blue;  ///< 0..1
};

struct ColorCase {
  AVColorSpace matrix;
  double red_weight, blue_weight;
};

/// Codes of Y, Cb and Cr by the definition.
std::array<double, 3> yuv_codes(const ColorCase& c, const Color& color, bool full, int bits) {
  const double y = c.red_weight * color.red + (1 - c.red_weight - c.blue_weight) * color.green +
                   c.blue_weight * color.blue;
  const double cb = (color.blue - y) / (2 * (1 - c.blue_weight));
  const double cr = (color.red - y) / (2 * (1 - c.red_weight));
  const double step = 1 << (bits - 8);
  if (full) {
    const double largest = (1 << bits) - 1;
    return {y * largest, 128 * step + cb * largest, 128 * step + cr * largest};
  }
  return {(16 + 219 * y) * step, (128 + 224 * cb) * step, (128 + 224 * cr) * step};
}

FramePtr packed_bgr(const Color& color, bool ten_bit) {
  FramePtr frame = allocate_video_frame(ten_bit ? AV_PIX_FMT_BGR48LE : AV_PIX_FMT_BGR24, {width, height});
  const double channels[3] = {color.blue, color.green, color.red};
  for (int row = 0; row < height; ++row) {
    std::uint8_t* begin = frame->data[0] + static_cast<std::ptrdiff_t>(row) * frame->linesize[0];
    for (int column = 0; column < width; ++column) {
      for (int channel = 0; channel < 3; ++channel) {
        if (!ten_bit) {
          begin[3 * column + channel] = static_cast<std::uint8_t>(std::lround(channels[channel] * 255));
          continue;
        }
        const auto code = static_cast<std::uint16_t>(std::lround(channels[channel] * 65535));
        std::memcpy(begin + std::ptrdiff_t{6} * column + std::ptrdiff_t{2} * channel, &code, sizeof code);
      }
    }
  }
  return frame;
}

double code_at(const AVFrame& frame, int plane, int position) {
  constexpr int middle_row = 10;
  const std::uint8_t* row =
      frame.data[plane] + static_cast<std::ptrdiff_t>(middle_row) * frame.linesize[plane];
  if (frame.format == AV_PIX_FMT_NV12) return row[position];
  std::uint16_t code = 0;
  std::memcpy(&code, row + std::ptrdiff_t{2} * position, sizeof code);
  return code / 64.0;
}

TEST(EyeConverter, PackedBgrIsConvertedByMatrixAndRange) {
  for (const ColorCase& c : {
           ColorCase{AVCOL_SPC_BT709, 0.2126, 0.0722},
           ColorCase{AVCOL_SPC_FCC, 0.30, 0.11},
           ColorCase{AVCOL_SPC_SMPTE240M, 0.212, 0.087},
           ColorCase{AVCOL_SPC_BT2020_NCL, 0.2627, 0.0593},
           ColorCase{AVCOL_SPC_UNSPECIFIED, 0.299, 0.114},
       }) {
    for (const bool ten_bit : {false, true}) {
      for (const AVColorRange range : {AVCOL_RANGE_JPEG, AVCOL_RANGE_MPEG, AVCOL_RANGE_UNSPECIFIED}) {
        const auto encoder = encoder_frame(ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_NV12, c.matrix, range);
        const auto converter = converter_for(*encoder);
        const FramePtr target =
            allocate_video_frame(static_cast<AVPixelFormat>(encoder->format), {width, height});
        for (const Color& color : {Color{1, 1, 1}, Color{0, 0, 0}, Color{1, 0, 0}, Color{0, 1, 0},
                                   Color{0, 0, 1}, Color{0.8, 0.4, 0.2}}) {
          std::string error;
          ASSERT_TRUE(converter->convert(*packed_bgr(color, ten_bit), *target, error)) << error;
          const auto expected = yuv_codes(c, color, range == AVCOL_RANGE_JPEG, ten_bit ? 10 : 8);
          // The library works with 15-bit intermediates, and saturated colours meet the largest code.
          const double tolerance = ten_bit ? 4.0 : 1.5;
          EXPECT_NEAR(code_at(*target, 0, 20), expected[0], tolerance) << c.matrix << ' ' << range;
          EXPECT_NEAR(code_at(*target, 1, 20), expected[1], tolerance) << c.matrix << ' ' << range;
          EXPECT_NEAR(code_at(*target, 1, 21), expected[2], tolerance) << c.matrix << ' ' << range;
        }
      }
    }
  }
}

TEST(EyeConverter, PicturesThatAreStillInUseAreLeftAlone) {
  const auto encoder = encoder_frame(AV_PIX_FMT_NV12, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG);
  const auto converter = converter_for(*encoder);
  const FramePtr target = random_frame(AV_PIX_FMT_NV12);
  const FramePtr held(av_frame_clone(target.get()));
  const auto before = plane_bytes(*held, 0);
  const FramePtr eye = packed_bgr({1, 1, 1}, /*ten_bit=*/false);
  std::string error;
  ASSERT_TRUE(converter->convert(*eye, *target, error)) << error;
  EXPECT_EQ(plane_bytes(*held, 0), before);
  EXPECT_NE(plane_bytes(*target, 0), before);
}

TEST(EyeConverter, RefusesPicturesThatAreNotInMemory) {
  const auto encoder = encoder_frame(AV_PIX_FMT_NV12, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG);
  const auto converter = converter_for(*encoder);
  const FramePtr target = allocate_video_frame(AV_PIX_FMT_NV12, {width, height});
  const FramePtr eye(av_frame_alloc());
  eye->format = AV_PIX_FMT_D3D11;
  eye->width = width;
  eye->height = height;
  std::string error;
  EXPECT_FALSE(converter->convert(*eye, *target, error));
  EXPECT_EQ(error, "could not create spatial YUV converter");
}

TEST(EyeConverter, RefusesPicturesThatLackAPlane) {
  const auto encoder = encoder_frame(AV_PIX_FMT_NV12, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG);
  const auto converter = converter_for(*encoder);
  const FramePtr target = allocate_video_frame(AV_PIX_FMT_NV12, {width, height});
  const FramePtr eye = random_frame(AV_PIX_FMT_NV12);
  eye->data[1] = nullptr;
  std::string error;
  EXPECT_FALSE(converter->convert(*eye, *target, error));
  EXPECT_EQ(error, "could not convert a rectified eye for MV-HEVC encoding");
}

TEST(EyeConverter, CannotBeMadeForAnImpossibleSize) {
  const auto encoder = encoder_frame(AV_PIX_FMT_NV12, AVCOL_SPC_BT709, AVCOL_RANGE_JPEG);
  encoder->width = 0;
  std::string error;
  EXPECT_EQ(EyeConverter::create(*encoder, error), nullptr);
  EXPECT_EQ(error, "could not create spatial color converters");
}

}  // namespace
}  // namespace veyrin::test
