// Where the colour of subsampled frames lands: frames whose chroma is a ramp, judged by the ramp's formula.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "media/ffmpeg.h"
#include "tests/thumbnail/workers.h"
#include "thumbnail/color_converter.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin::test {
namespace {

constexpr int side = 32;
constexpr double first_code = 66.0, code_per_luma_sample = 4.0;

/// A grey frame whose Cb grows along one axis as the samples lie, in luma samples from the first luma sample.
FramePtr ramp_frame(AVPixelFormat format, AVChromaLocation marked, bool along_x, double first_chroma) {
  FramePtr frame = allocate_video_frame(format, {side, side});
  frame->chroma_location = marked;
  for (const AVBufferRef* buffer : frame->buf) {
    if (buffer != nullptr) std::fill_n(buffer->data, buffer->size, std::uint8_t{0});
  }
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
  const double unit = std::pow(2.0, description->comp[0].depth - 8);
  for (int component = 0; component < 3; ++component) {
    const bool chroma = component > 0;
    const int x_shift = chroma ? description->log2_chroma_w : 0;
    const int y_shift = chroma ? description->log2_chroma_h : 0;
    for (int y = 0; y < side >> y_shift; ++y) {
      std::vector<std::uint16_t> line;
      for (int x = 0; x < side >> x_shift; ++x) {
        const int step = 1 << (along_x ? x_shift : y_shift);
        const double place = (along_x ? x : y) * step + first_chroma;
        const double code = component == 1 ? first_code + code_per_luma_sample * place : 128.0;
        line.push_back(static_cast<std::uint16_t>(std::lround(code * unit)));
      }
      std::uint8_t* planes[4] = {frame->data[0], frame->data[1], frame->data[2], frame->data[3]};
      av_write_image_line(line.data(), planes, frame->linesize, description, 0, y, component,
                          static_cast<int>(line.size()));
    }
  }
  return frame;
}

struct Position {
  AVChromaLocation marked;
  double x, y;  ///< of the first chroma sample, in luma samples from the first luma sample
};

// By ISO/IEC 23091-2; without a mark, as MPEG-2 and later codecs.
const std::vector<Position> positions{
    {AVCHROMA_LOC_UNSPECIFIED, 0.0, 0.5}, {AVCHROMA_LOC_LEFT, 0.0, 0.5}, {AVCHROMA_LOC_CENTER, 0.5, 0.5},
    {AVCHROMA_LOC_TOPLEFT, 0.0, 0.0},     {AVCHROMA_LOC_TOP, 0.5, 0.0},  {AVCHROMA_LOC_BOTTOMLEFT, 0.0, 1.0},
    {AVCHROMA_LOC_BOTTOM, 0.5, 1.0},
};

/// Expects the ramp at the luma samples, away from the borders, where there is nothing to interpolate with.
void expect_ramp(const FramePtr& frame, bool along_x) {
  ColorDescription description;
  description.matrix.kind = ColorMatrix::bt709;
  description.range.kind = ColorRange::full;
  const ImagePtr image = image_of_frame(*frame, prepare_color_converter(description), workers());
  ASSERT_TRUE(image);
  for (int place = 4; place < side - 4; ++place) {
    const Rgba pixel = along_x ? image->row(side / 2)[place] : image->row(place)[side / 2];
    const double cb = first_code + code_per_luma_sample * place - 128.0;
    // Half a luma sample is 3.7 codes.
    EXPECT_NEAR(pixel.blue, 128.0 + 1.8556 * cb, 1.6) << place;
  }
}

class ChromaPosition : public testing::TestWithParam<AVPixelFormat> {};

TEST_P(ChromaPosition, IsWhereTheFrameSays) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(GetParam());
  for (const Position& position : positions) {
    SCOPED_TRACE(position.marked);
    const double x = format->log2_chroma_w > 0 ? position.x : 0.0;
    const double y = format->log2_chroma_h > 0 ? position.y : 0.0;
    expect_ramp(ramp_frame(GetParam(), position.marked, true, x), true);
    expect_ramp(ramp_frame(GetParam(), position.marked, false, y), false);
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, ChromaPosition,
                         testing::Values(AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12,
                                         AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE, AV_PIX_FMT_YUV422P,
                                         AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P),
                         [](const auto& format) { return std::string(av_get_pix_fmt_name(format.param)); });

}  // namespace
}  // namespace veyrin::test
