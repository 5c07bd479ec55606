// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// The messages that arrive on standard input.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "spatial/two_view_protocol.h"

namespace veyrin::two_view {

/// The request, checked as far as it does not depend on x265.
[[nodiscard]] bool read_request(Request& request, std::string& error);

/// A message behind the request.
enum class InputMessage { pair, end };

/// What comes next, a pair's pictures or the end's number.
[[nodiscard]] bool read_message_kind(InputMessage& kind, std::string& error);

/// The samples of both pictures of a pair.
[[nodiscard]] bool read_pictures(std::span<std::uint8_t> samples, std::string& error);

/// The rest of the end: false unless it says that `pairs_read` pairs were sent.
[[nodiscard]] bool read_end(std::uint64_t pairs_read, std::string& error);

}  // namespace veyrin::two_view
