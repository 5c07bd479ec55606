// UTF-8, which the program speaks, and UTF-16, which the system's functions take.
#pragma once

#include <string>
#include <string_view>

namespace veyrin::platform {

/// Bytes that are no UTF-8 become U+FFFD.
std::wstring wide_from_utf8(std::string_view text);

/// Halves of a surrogate pair that stand alone become U+FFFD.
std::string utf8_from_wide(std::wstring_view text);

}  // namespace veyrin::platform
