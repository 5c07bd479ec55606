// What the tests ask of encoders.
#pragma once

#include "convert/encoder_settings.h"

namespace veyrin::test {

/// For a canvas of 1280x480 samples at the usual rate.
inline EncoderRequest request_for(SbsCodec codec, BitDepth depth) {
  EncoderRequest request;
  request.codec = codec;
  request.depth = depth;
  request.canvas = {1280, 480};
  request.bitrate = "55M";
  return request;
}

}  // namespace veyrin::test
