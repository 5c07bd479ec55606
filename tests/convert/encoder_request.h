// What the tests ask of encoders.
#pragma once

#include "convert/encoder_selection.h"

namespace veyrin::test {

/// For eyes of 640x480 samples at the usual rates.
inline EncoderRequest request_for(SbsCodec codec, bool ten_bit) {
  EncoderRequest request;
  request.codec = codec;
  request.ten_bit = ten_bit;
  request.canvas = {640, 480};
  request.sdr_bitrate = "55M";
  request.hdr_bitrate = "90M";
  return request;
}

}  // namespace veyrin::test
