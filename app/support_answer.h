// The answers of check-support, one line of JSON each.
#pragma once

#include <string>
#include <string_view>

namespace veyrin {

/// The text as the inside of a JSON string. Bytes of 0x80 and above pass unchanged.
std::string escape_json(std::string_view text);

/// The answer "yes", line feed included; `software_path` tells how the conversion would run.
std::string supported_answer(bool software_path);

/// The answer "no" with its reason in plain text, line feed included.
std::string unsupported_answer(std::string_view reason);

}  // namespace veyrin
