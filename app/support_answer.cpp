#include "app/support_answer.h"

namespace veyrin {
namespace {

/// A byte below 0x20 as a backslash, u and four digits.
std::string numeric_escape(unsigned char byte) {
  constexpr std::string_view digits = "0123456789abcdef";
  return std::string("\\u00") + digits[byte >> 4U] + digits[byte & 0xFU];
}

std::string escape_byte(char character) {
  switch (character) {
    case '\t':
      return "\\t";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    default:
      break;
  }
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 ? numeric_escape(byte) : std::string(1, character);
}

}  // namespace

std::string escape_json(std::string_view text) {
  std::string escaped;
  for (const char character : text) escaped += escape_byte(character);
  return escaped;
}

std::string supported_answer(bool software_path) {
  return std::string(R"({"schemaVersion":1,"supported":true,"acceleration":")") +
         (software_path ? "software" : "hardware") + "\"}\n";
}

std::string unsupported_answer(std::string_view reason) {
  return R"({"schemaVersion":1,"supported":false,"acceleration":"none","reason":")" + escape_json(reason) +
         "\"}\n";
}

}  // namespace veyrin
