// The recording of a conversion, opened, with the streams that are read of it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "convert/conversion_plan.h"
#include "media/ffmpeg.h"
#include "metadata/recording_metadata.h"

namespace veyrin {

/// Streams are named by their indices.
struct ConversionInput {
  std::filesystem::path path;  ///< empty with synthetic streams
  InputContextPtr context;
  int left_stream = -1;  ///< both eyes' are equal when one camera serves both
  int right_stream = -1;
  int audio_stream = -1;  ///< the first audio stream; -1 when there is none

  /// The stream whose sound is copied; null when there is none.
  [[nodiscard]] const AVStream* audio() const {
    return audio_stream >= 0 ? context->streams[audio_stream] : nullptr;
  }
};

/// Opens the job's recording, or makes streams of the synthetic properties, and finds both eyes' streams.
/// Every other stream is discarded at the demuxer. Nothing with one message in `error` on failure.
[[nodiscard]] std::optional<ConversionInput> open_conversion_input(const ConversionJob& job,
                                                                   const RecordingMetadata& metadata,
                                                                   std::string& error);

/// What the opened streams tell; `depth` is the left eye's.
InputFacts input_facts(const ConversionInput& input, BitDepth depth);

}  // namespace veyrin
