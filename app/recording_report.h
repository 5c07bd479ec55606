// The report lines about one input.
#pragma once

#include <string>

#include "common/conversion_options.h"
#include "media/video_types.h"
#include "metadata/recording_metadata.h"

namespace veyrin {

/// The recorded size of one eye.
Size native_eye_size(const RecordingMetadata& metadata);

/// Distance between the cameras in metres, in single precision as the calibration itself.
float baseline_metres(const RecordingMetadata& metadata);

/// "sbs", "spatial" or "mono".
const char* output_format_name(OutputFormat format);

/// Prints what every batch mode reports of an input; `input` is its name as given.
void print_recording_report(const std::string& input, const RecordingMetadata& metadata);

/// Prints the movie that a dry run has found to be possible for an eye of the requested size.
void print_planned_work(const ConversionOptions& options, Size requested);

}  // namespace veyrin
