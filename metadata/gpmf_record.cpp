#include "metadata/gpmf_record.h"

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>

extern "C" {
#include <libavcodec/packet.h>
}

namespace veyrin {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t header_size = 8;  // key, type, structure size, repeat count
constexpr std::size_t max_schema_name = 64;

std::string_view text_of(Bytes bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool has_key(Bytes record, std::string_view key) {
  return record.size() >= key.size() && text_of(record.first(key.size())) == key;
}

/// Character data of one byte per element.
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

}  // namespace

std::optional<nlohmann::json> parse_gpmf_json_record(const AVPacket* packet) {
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
  nlohmann::json document = nlohmann::json::parse(payload);
  if (!document.is_object()) throw std::runtime_error("json/v1 AVmd payload is not an object");
  return document;
}

}  // namespace veyrin
