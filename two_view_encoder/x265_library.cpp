// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/x265_library.h"

// The entry point of the 10-bit library, which has its symbols in a namespace.
namespace x265_10bit {
const x265_api* x265_api_get(int bit_depth);
}

namespace veyrin::two_view {

const x265_api* x265_for(std::uint32_t bit_depth) {
  const x265_api* api = bit_depth == 10 ? x265_10bit::x265_api_get(10) : x265_api_get(8);
  // The library hands out another depth's interface when it has no other.
  return api != nullptr && api->bit_depth == static_cast<int>(bit_depth) ? api : nullptr;
}

}  // namespace veyrin::two_view
