// What a planned conversion asks of the encoder selection and of each kind of movie.
#pragma once

#include "convert/conversion_plan.h"
#include "convert/encoded_movie.h"
#include "convert/encoder_selection.h"
#include "convert/software_encode_request.h"
#include "spatial/direct_spatial.h"

namespace veyrin {

/// The encoder of a side-by-side or mono movie; the plan's container is chosen.
EncoderRequest encoder_request(const ConversionPlan& plan);

/// A movie of this process. Takes the selected encoder's context.
EncodedMovieRequest encoded_movie_request(const ConversionPlan& plan, SelectedEncoder& selected);

/// A movie of the packaged encoder, with the settings that `selected` carries.
SoftwareEncodeRequest software_encode_request(const ConversionPlan& plan, const SelectedEncoder& selected);

/// A movie with one picture per eye.
DirectSpatialRequest spatial_request(const ConversionPlan& plan);

/// True when the finished file of the packaged encoder is rewritten with a description of its stereo picture.
bool wants_stereo_pass(const ConversionPlan& plan);

}  // namespace veyrin
