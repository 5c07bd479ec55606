// One sample of the timed-metadata track: an AVmf record that names the payload's schema, then an AVmd record
// that holds the payload.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>

struct AVPacket;

namespace veyrin {

/// The JSON object of a "json/v1" sample; nothing when the sample is something else (or `packet` is null).
/// Throws std::runtime_error, or the JSON library's exception, for a malformed sample.
std::optional<nlohmann::json> parse_gpmf_json_record(const AVPacket* packet);

}  // namespace veyrin
