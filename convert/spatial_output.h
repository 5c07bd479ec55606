// Movies of one picture per eye, coded as two views.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "convert/movie_output.h"
#include "spatial/spatial_writer_config.h"

namespace veyrin {

/// What the plan's movie is made with; nothing, with one message in `error`, for a bit rate that is none. The
/// plan's movie is a `SpatialMoviePlan`. `audio` is the sound to copy, borrowed; null when there is none.
[[nodiscard]] std::optional<SpatialWriterConfig> spatial_writer_config(const ConversionPlan& plan,
                                                                       const AVStream* audio,
                                                                       std::string& error);

/// The strategy of such movies.
std::unique_ptr<MovieOutput> create_spatial_output(const ConversionPlan& plan);

}  // namespace veyrin
