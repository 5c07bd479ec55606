// A movie encoded, muxed and given its audio by the packaged encoder's process.
#pragma once

#include <memory>

#include "convert/movie_sink.h"
#include "convert/packaged_software_encoder.h"

namespace veyrin {

/// Starts the packaged encoder for canvases of the request's size and depth; null with one message in `error`
/// on failure.
std::unique_ptr<MovieSink> create_packaged_movie(const SoftwareEncodeRequest& request, std::string& error);

}  // namespace veyrin
