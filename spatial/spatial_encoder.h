// The two-view HEVC encoder of the machine's NVIDIA driver.
#pragma once

#include <string>

#include "media/ffmpeg.h"
#include "spatial/spatial_encoder_calls.h"
#include "spatial/spatial_writer_config.h"

namespace veyrin {

/// The format in which the encoder takes both eyes: semi-planar 4:2:0.
AVPixelFormat spatial_pixel_format(bool ten_bit);

/// Configures and opens the encoder and completes its sequence header; null with one message in `error` on
/// failure. Its time base is one frame. It wants the views of a pair one after the other, the left one first.
CodecContextPtr open_spatial_encoder(const SpatialWriterConfig& config, const SpatialEncoderCalls& calls,
                                     std::string& error);

}  // namespace veyrin
