#include "metadata/timed_metadata.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "media/ffmpeg.h"
#include "media/recording_input.h"

namespace veyrin {
namespace {

using nlohmann::json;
using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t header_size = 8;  // key, type, structure size, repeat count
constexpr std::size_t max_schema_name = 64;
constexpr std::size_t longest_quotation = 200;  // characters

std::string_view text_of(Bytes bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool has_key(Bytes record, std::string_view key) {
  return record.size() >= key.size() && text_of(record.first(key.size())) == key;
}

/// True for character data of one byte per element.
bool is_character_data(Bytes record) {
  return record[4] == 'c' && record[5] == 1;
}

std::size_t repeat_count(Bytes record) {
  return static_cast<std::size_t>(record[6] << 8 | record[7]);
}

/// Records are padded to 32-bit words.
std::size_t aligned(std::size_t size) {
  return (size + 3) & ~std::size_t{3};
}

/// Bytes of the first `count` characters of UTF-8 text.
std::size_t longest_prefix(std::string_view text, std::size_t count) {
  const auto begins_character = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; };
  std::size_t bytes = 0;
  for (; bytes < text.size(); ++bytes) {
    if (begins_character(text[bytes]) && count-- == 0) break;
  }
  return bytes;
}

/// Moves the value under the new key. A copy of a hostile, deeply nested value would exhaust the stack, and
/// nothing reads the old key.
void adopt_key(json& object, const char* legacy_key, const char* key) {
  const auto legacy = object.find(legacy_key);
  if (legacy == object.end() || object.contains(key)) return;
  json value = std::move(*legacy);
  object[key] = std::move(value);
}

double sample_time_seconds(const AVPacket& packet, AVRational time_base) {
  if (packet.pts == AV_NOPTS_VALUE) return 0.0;
  return static_cast<double>(time_base.num) / static_cast<double>(time_base.den) *
         static_cast<double>(packet.pts);
}

}  // namespace

std::optional<json> parse_gpmf_json_record(const AVPacket* packet) {
  if (packet == nullptr || packet->data == nullptr || packet->size < 4) return std::nullopt;
  const Bytes sample(packet->data, static_cast<std::size_t>(packet->size));
  if (!has_key(sample, "AVmf")) return std::nullopt;
  if (sample.size() < header_size || !is_character_data(sample)) {
    throw std::runtime_error("invalid AVmf GPMF record");
  }

  const std::size_t name_size = repeat_count(sample);
  const std::size_t payload_record = aligned(header_size + name_size);
  if (name_size == 0 || name_size > max_schema_name || sample.size() < payload_record) {
    throw std::runtime_error("invalid AVmf GPMF record size");
  }
  if (text_of(sample.subspan(header_size, name_size)) != "json/v1") return std::nullopt;

  const Bytes record = sample.subspan(payload_record);
  if (record.size() < header_size || !has_key(record, "AVmd") || !is_character_data(record)) {
    throw std::runtime_error("invalid AVmd GPMF record");
  }
  const std::size_t payload_size = repeat_count(record);
  if (record.size() != aligned(header_size + payload_size)) {
    throw std::runtime_error("invalid AVmd GPMF record size");
  }

  const std::string_view payload = text_of(record.subspan(header_size, payload_size));
  json document = json::parse(payload);
  if (!document.is_object()) throw std::runtime_error("json/v1 AVmd payload is not an object");
  return std::optional<json>(std::in_place, std::move(document));
}

std::string with_short_quotation(std::string_view message) {
  constexpr std::string_view begin = "last read: '";
  constexpr std::string_view end = "'; expected ";
  constexpr std::size_t longest_expectation = 64;
  const std::size_t found = message.find(begin);
  if (found == std::string_view::npos) return std::string(message);
  const std::string_view before = message.substr(0, found + begin.size());
  std::string_view quoted = message.substr(before.size());
  std::string_view after = quoted.substr(std::min(quoted.size(), quoted.rfind('\'')));
  const std::size_t expectation = quoted.rfind(end);
  if (expectation != std::string_view::npos &&
      quoted.size() - expectation <= end.size() + longest_expectation) {
    after = quoted.substr(expectation);
  }
  quoted.remove_suffix(after.size());
  const std::string_view kept = quoted.substr(0, longest_prefix(quoted, longest_quotation));
  return std::string(before).append(kept).append(kept.size() < quoted.size() ? "..." : "").append(after);
}

void adopt_legacy_keys(json& document) {
  adopt_key(document, "playbackTimestampSec", "pts");
  const auto cameras = document.find("cameras");
  if (cameras == document.end() || !cameras->is_array()) return;
  for (json& camera : *cameras) {
    if (camera.is_object()) adopt_key(camera, "videoTrackIndex", "track");
  }
}

std::optional<TimedDocument> read_first_document(AVFormatContext& input, int metadata_stream,
                                                 AVPacket& packet) {
  const std::array wanted{metadata_stream};
  read_only_streams(input, wanted);
  while (av_read_frame(&input, &packet) >= 0) {
    std::optional<json> document;
    if (packet.stream_index == metadata_stream) document = parse_gpmf_json_record(&packet);
    const double time = sample_time_seconds(packet, input.streams[packet.stream_index]->time_base);
    av_packet_unref(&packet);
    if (!document) continue;
    adopt_legacy_keys(*document);
    return TimedDocument{std::move(*document), time};
  }
  return std::nullopt;
}

}  // namespace veyrin
