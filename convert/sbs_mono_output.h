// Movies of one picture per frame: both eyes side by side, or one of them.
#pragma once

#include <memory>

#include "convert/encoder_settings.h"
#include "convert/movie_output.h"
#include "convert/packaged_encoder_arguments.h"

namespace veyrin {

/// What the plan asks of the encoder selection.
EncoderRequest encoder_request(const PicturePlan& picture, const CanvasMoviePlan& movie, bool software);

/// What the plan asks of the packaged encoder, which is told the `settings` of the selection.
SoftwareEncodeRequest software_encode_request(const FilePlan& files, const TimeRange& range,
                                              const CanvasMoviePlan& movie, const AVCodecContext& settings);

/// True when the finished file of the packaged encoder is rewritten with a description of its stereo picture.
bool wants_stereo_pass(const CanvasMoviePlan& movie);

/// The strategy of such movies. The plan's movie is a `CanvasMoviePlan`.
std::unique_ptr<MovieOutput> create_sbs_mono_output(const ConversionPlan& plan);

}  // namespace veyrin
