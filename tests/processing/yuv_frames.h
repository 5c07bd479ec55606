// Frames for the tests: any stride, poisoned memory around the picture, samples read and written by channel.
#pragma once

#include <cstdint>

#include "media/ffmpeg.h"

namespace veyrin::test {

enum class Channel : std::int32_t { y = 0, u = 1, v = 2 };

/// A frame of one of the five formats. Rows are `row_slack` bytes longer than their samples, and everything
/// outside the samples holds a poison byte.
FramePtr make_frame(int format, int width, int height, int row_slack = 0);

/// True while nothing outside the samples has been written.
bool guards_intact(const AVFrame& frame);

/// Bits per sample: 8 or 10.
int sample_bits(int format);

/// Size of a channel in samples.
int channel_width(const AVFrame& frame, Channel channel);
int channel_height(const AVFrame& frame, Channel channel);

/// One sample's code, alignment removed.
int get_sample(const AVFrame& frame, Channel channel, int x, int y);
void set_sample(AVFrame& frame, Channel channel, int x, int y, int code);

/// The 16 bits (or the byte) as stored.
int get_stored(const AVFrame& frame, Channel channel, int x, int y);

/// Fills all channels with seeded random codes over the whole range, extremes included.
void fill_random(AVFrame& frame, std::uint32_t seed);
void fill_constant(AVFrame& frame, int luma, int chroma_u, int chroma_v);

}  // namespace veyrin::test
