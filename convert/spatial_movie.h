// A movie with one picture per eye, coded as two views.
#pragma once

#include <memory>

#include "convert/movie_sink.h"
#include "spatial/direct_spatial.h"

namespace veyrin {

/// Answers whether the machine could make such a movie, writing nothing: by the driver's word, or, when
/// hardware is not to be judged by it (`options.software`), by opening the encoder. False with one message in
/// `error`.
[[nodiscard]] bool check_spatial_support(const DirectSpatialRequest& request,
                                         const ConversionOptions& options, std::string& error);

/// Opens the encoder and the file; its canvases are the left eye's and the right eye's. Null with one message
/// in `error` on failure.
std::unique_ptr<MovieSink> create_spatial_movie(const DirectSpatialRequest& request,
                                                const ConversionOptions& options, std::string& error);

}  // namespace veyrin
