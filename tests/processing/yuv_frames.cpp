#include "tests/processing/yuv_frames.h"

#include <cstring>
#include <random>

namespace veyrin::test {
namespace {

constexpr std::size_t guard_bytes = 96;
constexpr std::uint8_t poison = 0xA5;

struct ChannelPlace {
  int plane;
  int first;  // samples before the first one in a row
  int step;   // samples from one to the next
};

bool interleaved(int format) {
  return format == AV_PIX_FMT_NV12 || format == AV_PIX_FMT_P010LE;
}

int sample_bytes(int format) {
  return sample_bits(format) > 8 ? 2 : 1;
}

int plane_count(int format) {
  return interleaved(format) ? 2 : 3;
}

ChannelPlace place(int format, Channel channel) {
  if (channel == Channel::y) return {0, 0, 1};
  if (interleaved(format)) return {1, channel == Channel::u ? 0 : 1, 2};
  return {channel == Channel::u ? 1 : 2, 0, 1};
}

int plane_row_bytes(const AVFrame& frame, int plane) {
  const int samples = plane == 0 || interleaved(frame.format) ? frame.width : frame.width / 2;
  return samples * sample_bytes(frame.format);
}

int plane_rows(const AVFrame& frame, int plane) {
  return plane == 0 ? frame.height : frame.height / 2;
}

std::uint8_t* sample_at(const AVFrame& frame, Channel channel, int x, int y) {
  const ChannelPlace where = place(frame.format, channel);
  return frame.data[where.plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[where.plane] +
         static_cast<std::ptrdiff_t>(where.first + x * where.step) * sample_bytes(frame.format);
}

}  // namespace

int sample_bits(int format) {
  return format == AV_PIX_FMT_YUV420P10LE || format == AV_PIX_FMT_P010LE ? 10 : 8;
}

FramePtr make_frame(int format, int width, int height, int row_slack) {
  FramePtr frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  for (int plane = 0; plane < plane_count(format); ++plane) {
    frame->linesize[plane] = plane_row_bytes(*frame, plane) + row_slack;
    const std::size_t bytes = static_cast<std::size_t>(frame->linesize[plane]) *
                                  static_cast<std::size_t>(plane_rows(*frame, plane)) +
                              2 * guard_bytes;
    frame->buf[plane] = av_buffer_alloc(bytes);
    std::memset(frame->buf[plane]->data, poison, bytes);
    frame->data[plane] = frame->buf[plane]->data + guard_bytes;
  }
  fill_constant(*frame, 0, 0, 0);
  return frame;
}

bool guards_intact(const AVFrame& frame) {
  for (int plane = 0; plane < plane_count(frame.format); ++plane) {
    const std::uint8_t* bytes = frame.buf[plane]->data;
    const auto size = static_cast<std::ptrdiff_t>(frame.buf[plane]->size);
    const std::ptrdiff_t stride = frame.linesize[plane];
    for (std::ptrdiff_t i = 0; i < size; ++i) {
      const std::ptrdiff_t offset = i - static_cast<std::ptrdiff_t>(guard_bytes);
      const bool picture = offset >= 0 && offset < stride * plane_rows(frame, plane) &&
                           offset % stride < plane_row_bytes(frame, plane);
      if (!picture && bytes[i] != poison) return false;
    }
  }
  return true;
}

int channel_width(const AVFrame& frame, Channel channel) {
  return channel == Channel::y ? frame.width : frame.width / 2;
}

int channel_height(const AVFrame& frame, Channel channel) {
  return channel == Channel::y ? frame.height : frame.height / 2;
}

int get_stored(const AVFrame& frame, Channel channel, int x, int y) {
  const std::uint8_t* at = sample_at(frame, channel, x, y);
  return sample_bytes(frame.format) == 1 ? at[0] : at[0] | (at[1] << 8);
}

int get_sample(const AVFrame& frame, Channel channel, int x, int y) {
  const int stored = get_stored(frame, channel, x, y);
  return frame.format == AV_PIX_FMT_P010LE ? stored >> 6 : stored;
}

void set_sample(AVFrame& frame, Channel channel, int x, int y, int code) {
  const int stored = frame.format == AV_PIX_FMT_P010LE ? code << 6 : code;
  std::uint8_t* at = sample_at(frame, channel, x, y);
  at[0] = static_cast<std::uint8_t>(stored);
  if (sample_bytes(frame.format) == 2) at[1] = static_cast<std::uint8_t>(stored >> 8);
}

void fill_random(AVFrame& frame, std::uint32_t seed) {
  std::mt19937 random(seed);
  const int maximum = (1 << sample_bits(frame.format)) - 1;
  std::uniform_int_distribution<int> code(-maximum / 4, maximum + maximum / 4);
  for (const Channel channel : {Channel::y, Channel::u, Channel::v})
    for (int y = 0; y < channel_height(frame, channel); ++y)
      for (int x = 0; x < channel_width(frame, channel); ++x)
        set_sample(frame, channel, x, y, std::min(std::max(code(random), 0), maximum));
}

void fill_constant(AVFrame& frame, int luma, int chroma_u, int chroma_v) {
  const int codes[] = {luma, chroma_u, chroma_v};
  for (const Channel channel : {Channel::y, Channel::u, Channel::v})
    for (int y = 0; y < channel_height(frame, channel); ++y)
      for (int x = 0; x < channel_width(frame, channel); ++x)
        set_sample(frame, channel, x, y, codes[static_cast<int>(channel)]);
}

}  // namespace veyrin::test
