// Failures as text: every failing step leaves one message in its caller's string.
#pragma once

#include <string>
#include <utility>

namespace veyrin {

/// Stores `message` in `error` and returns false, so that a failing step is one return statement.
[[nodiscard]] inline bool fail(std::string& error, std::string message) {
  error = std::move(message);
  return false;
}

}  // namespace veyrin
