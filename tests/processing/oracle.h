// The processor's result computed the slow way: double precision, one output sample at a time, 64 taps each,
// with the Lanczos kernel in its textbook form. Shares no code with the processor.
#pragma once

#include <string>

#include "processing/cpu_yuv_processor.h"
#include "tests/processing/yuv_frames.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {

/// Weight of tap `tap` (0..7) for a phase of `phase`/32: sinc(t) sinc(t/4), the eight normalised to sum 1.
double oracle_weight(int phase, int tap);

/// Sampled value at a position of a channel given by its map coordinate and the channel's scale (1 or 0.5).
double oracle_sample(const AVFrame& source, Channel channel, float map_x, float map_y, double scale,
                     double fill);

/// The value, in codes of the output's depth and before rounding, that belongs at one place of the canvas.
double oracle_value(const StoredMaps& maps, const ProcessorGeometry& geometry, const AVFrame& left,
                    const AVFrame& right, const AVFrame& output, Channel channel, int x, int y);

/// Compares a whole output frame. Empty when every code is the rounded exact value, or next to it where that
/// value is within `tie_margin` of a rounding boundary; otherwise says where and how the first and the worst
/// samples differ.
std::string compare_with_oracle(const StoredMaps& maps, const ProcessorGeometry& geometry,
                                const AVFrame& left, const AVFrame& right, const AVFrame& output,
                                double tie_margin);

}  // namespace veyrin::test
