// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// Whether this build of x265 encodes two views.
#pragma once

#include <cstdint>
#include <string>

namespace veyrin::two_view {

/// Encodes a few tiny pairs; false with the reason when they do not come back with both views.
[[nodiscard]] bool probe(std::uint32_t bit_depth, std::string& error);

}  // namespace veyrin::two_view
