// The two kinds of movies: one picture per frame (both eyes side by side, or one of them), and one picture
// per eye.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "convert/encoder_settings.h"
#include "convert/movie_output.h"
#include "convert/packaged_encoder_arguments.h"
#include "spatial/two_view_encoder.h"

namespace veyrin {

/// What the plan asks of the encoder selection.
EncoderRequest encoder_request(const PicturePlan& picture, const CanvasMoviePlan& movie, bool software);

/// What the plan asks of the packaged encoder, which is told the `settings` of the selection.
SoftwareEncodeRequest software_encode_request(const FilePlan& files, const TimeRange& range,
                                              const CanvasMoviePlan& movie, const AVCodecContext& settings);

/// True when the finished file of the packaged encoder is rewritten with a description of its stereo picture.
bool wants_stereo_pass(const CanvasMoviePlan& movie, const std::filesystem::path& output);

/// Side-by-side and mono movies. The plan's movie is a `CanvasMoviePlan`.
std::unique_ptr<MovieOutput> create_sbs_mono_output(const ConversionPlan& plan);

/// What the plan's movie is made with; nothing, with one message in `error`, for a bit rate that is none. The
/// plan's movie is a `SpatialMoviePlan`. `audio` is the sound to copy, borrowed; null when there is none.
[[nodiscard]] std::optional<SpatialWriterConfig> spatial_writer_config(const ConversionPlan& plan,
                                                                       const AVStream* audio,
                                                                       std::string& error);

/// Two-view movies. The plan's movie is a `SpatialMoviePlan`.
std::unique_ptr<MovieOutput> create_spatial_output(const ConversionPlan& plan);

}  // namespace veyrin
