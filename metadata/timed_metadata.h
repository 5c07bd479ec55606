// The timed-metadata track: samples of an AVmf record, which names the payload's schema, and an AVmd record,
// which holds the payload.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

struct AVFormatContext;
struct AVPacket;

namespace veyrin {

/// A calibration document as it stands in the recording.
struct TimedDocument {
  nlohmann::json document;    ///< an object with the current key names
  double time_seconds = 0.0;  ///< container time of its sample
};

/// The JSON object of a "json/v1" sample; nothing for any other sample or when `packet` is null. Throws
/// std::runtime_error, or the JSON library's exception, for a malformed sample.
[[nodiscard]] std::optional<nlohmann::json> parse_gpmf_json_record(const AVPacket* packet);

/// The message of a failure with at most 200 characters of what it quotes from a sample: the JSON library
/// quotes whole tokens, and a token may fill the sample.
[[nodiscard]] std::string with_short_quotation(std::string_view message);

/// Renames the keys of older recordings: "playbackTimestampSec" becomes "pts", and each camera's
/// "videoTrackIndex" becomes "track". A current key that is already there wins.
void adopt_legacy_keys(nlohmann::json& document);

/// Reads up to the first document of the metadata stream; the demuxer skips all other streams from now on.
/// Nothing when the file ends before a document. `packet` is working space. Throws for a malformed sample.
[[nodiscard]] std::optional<TimedDocument> read_first_document(AVFormatContext& input, int metadata_stream,
                                                               AVPacket& packet);

}  // namespace veyrin
