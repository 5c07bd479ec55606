// Samples of the timed-metadata track: GPMF records around a JSON document.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veyrin::recordings {

/// Header fields of a sample; the defaults are those of a well-formed one.
struct GpmfShape {
  std::string schema = "json/v1";
  int schema_count = -1;  ///< repeat count written for the schema; -1: its true length
  char schema_type = 'c';
  std::string payload_key = "AVmd";
  char payload_type = 'c';
  int payload_count = -1;  ///< repeat count written for the payload; -1: its true length
};

/// The AVmf record with the schema's name, then the AVmd record with the payload, each padded to 4 bytes.
std::vector<std::uint8_t> gpmf_sample(std::string_view payload, const GpmfShape& shape = {});

}  // namespace veyrin::recordings
