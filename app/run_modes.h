// What the program does with recordings: converts a batch of them, or previews one.
#pragma once

#include <string>

#include "common/conversion_options.h"
#include "media/video_types.h"
#include "metadata/recording_metadata.h"

namespace veyrin {

/// Inspects, plans or converts the inputs in their order with report lines on the console. The first that
/// fails ends the batch: false with its message in `error`; outputs written before stay.
[[nodiscard]] bool run_batch(const ConversionOptions& options, std::string& error);

/// Writes the preview of the one input to `output` and prints where it is; false with one message in `error`.
/// Throws a file system error when the system cannot say whether the output exists.
[[nodiscard]] bool run_thumbnail(const ConversionOptions& options, std::string& error);

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
