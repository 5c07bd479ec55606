// The track of a two-view stream whose encoder runs elsewhere.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "media/ffmpeg.h"
#include "spatial/two_view_encoder.h"

namespace veyrin {

/// What FFmpeg says of a stream that it has encoded itself: format, colours, stereo records, and a sequence
/// header of the parameter sets, with start codes, and the message about reference displays. Null with one
/// message in `error` on failure.
[[nodiscard]] CodecParametersPtr describe_two_view_stream(const SpatialWriterConfig& config,
                                                          std::span<const std::uint8_t> parameter_sets,
                                                          std::string& error);

}  // namespace veyrin
