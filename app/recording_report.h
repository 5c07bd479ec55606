// The report lines about one input.
#pragma once

#include <cstdint>
#include <string>

#include "common/conversion_options.h"
#include "convert/eye_canvas.h"
#include "metadata/recording_metadata.h"

namespace veyrin {

/// The recorded size of one eye.
Size native_eye_size(const RecordingMetadata& metadata);

/// Distance between the cameras in metres, in single precision as the calibration itself.
float baseline_metres(const RecordingMetadata& metadata);

/// The size that a conversion of an eye of `requested` size gives: the padded canvas, twice as wide for full
/// side-by-side packing.
Size planned_movie_size(const ConversionOptions& options, Size requested);

/// "sbs", "spatial" or "mono".
const char* output_format_name(OutputFormat format);

/// Prints what every batch mode reports of an input; `input` is its name as given.
void print_recording_report(const std::string& input, const RecordingMetadata& metadata);

/// Prints what a dry run has found to be possible.
void print_planned_work(const ConversionOptions& options, Size requested);

}  // namespace veyrin
