// The texts of failures: one message per failure, put into the caller's string.
#pragma once

#include <string>
#include <string_view>

namespace veyrin {

/// FFmpeg's description of an error code, at most 63 characters.
std::string library_error_text(int code);

/// `message` + ": " + FFmpeg's description of `code`.
std::string with_library_error(std::string_view message, int code);

/// Stores `message` in `error` and returns false, so that a failing step is one return statement.
[[nodiscard]] bool fail(std::string& error, std::string message);

/// As `fail`, with FFmpeg's description of `code` after the message.
[[nodiscard]] bool fail_with_library_error(std::string& error, std::string_view message, int code);

}  // namespace veyrin
