#include "tests/recordings/gpmf_sample.h"

namespace veyrin::recordings {
namespace {

void append_record(std::vector<std::uint8_t>& bytes, std::string_view key, char type, int count,
                   std::string_view text) {
  bytes.insert(bytes.end(), key.begin(), key.end());
  bytes.push_back(static_cast<std::uint8_t>(type));
  bytes.push_back(1);
  const auto written = count < 0 ? text.size() : static_cast<std::size_t>(count);
  bytes.push_back(static_cast<std::uint8_t>((written >> 8U) & 0xFFU));
  bytes.push_back(static_cast<std::uint8_t>(written & 0xFFU));
  bytes.insert(bytes.end(), text.begin(), text.end());
  while (bytes.size() % 4 != 0) bytes.push_back(0);
}

}  // namespace

std::vector<std::uint8_t> gpmf_sample(std::string_view payload, const GpmfShape& shape) {
  std::vector<std::uint8_t> bytes;
  append_record(bytes, "AVmf", shape.schema_type, shape.schema_count, shape.schema);
  append_record(bytes, shape.payload_key, shape.payload_type, shape.payload_count, payload);
  return bytes;
}

}  // namespace veyrin::recordings
