// One recording becomes one movie; or the answer whether it could.
#pragma once

#include <optional>
#include <string>

#include "common/conversion_options.h"
#include "convert/conversion_plan.h"
#include "media/video_types.h"
#include "metadata/recording_metadata.h"

namespace veyrin {

/// Converts a recording as the options ask; false with one message in `error` on the first failure.
[[nodiscard]] bool convert_recording(const ConversionJob& job, const RecordingMetadata& metadata,
                                     const ConversionOptions& options, std::string& error);

/// Takes the same road as far as the encoder, without decoding or writing anything, and tells where the
/// encoder would compute; nothing, with one message in `error`, when the conversion is not possible.
[[nodiscard]] std::optional<Acceleration> check_conversion_support(const ConversionJob& job,
                                                                   const RecordingMetadata& metadata,
                                                                   const ConversionOptions& options,
                                                                   std::string& error);

}  // namespace veyrin
