// A movie encoded and muxed in this process.
#pragma once

#include <memory>
#include <string>

#include "convert/movie_output.h"
#include "media/ffmpeg.h"
#include "media/movie_file.h"

namespace veyrin {

struct EncodedMovieRequest {
  MovieTarget output;
  const AVOutputFormat* container = nullptr;
  CodecContextPtr encoder;          ///< open; its time base is one output frame
  bool st3d = false;                ///< describe the picture in the container as side by side
  bool frame_packing_sei = false;   ///< and in the bitstream, where the codec is H.264
  const AVStream* audio = nullptr;  ///< borrowed for the call: the source's sound; null when there is none
};

/// Creates the tracks, opens the file and writes the header; null with one message in `error` on failure.
[[nodiscard]] std::unique_ptr<MovieSink> create_encoded_movie(EncodedMovieRequest request,
                                                              std::string& error);

}  // namespace veyrin
