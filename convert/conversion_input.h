// The recording as the conversion reads it: the demuxer and the streams it needs.
#pragma once

#include <string>

#include "convert/conversion.h"
#include "media/ffmpeg.h"

namespace veyrin {

struct ConversionInput {
  InputContextPtr context;
  int left_stream = -1;  ///< stream indices; both equal when one camera serves both eyes
  int right_stream = -1;
  int audio_stream = -1;  ///< the first audio stream; -1 when there is none
};

/// Opens the job's recording, or makes streams of the synthetic properties, and finds both eyes' streams.
/// Every other stream is discarded at the demuxer.
[[nodiscard]] bool open_conversion_input(const ConversionJob& job, const RecordingMetadata& metadata,
                                         ConversionInput& input, std::string& error);

}  // namespace veyrin
