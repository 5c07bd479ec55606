// The calibration document of a recording as it stands in the file.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>

#include "media/ffmpeg.h"

namespace veyrin {

struct TimedDocument {
  nlohmann::json document;    ///< an object, older key names already replaced
  double time_seconds = 0.0;  ///< container time of its sample
};

/// The first document of the metadata stream, other streams being skipped without reading them; nothing when
/// the file ends before one. `packet` is working space. Throws for a malformed sample.
std::optional<TimedDocument> read_first_document(AVFormatContext& input, int metadata_stream,
                                                 AVPacket& packet);

}  // namespace veyrin
