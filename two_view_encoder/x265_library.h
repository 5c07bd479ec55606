// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// x265 for either bit depth, and owners of its objects.
#pragma once

#include <x265.h>

#include <cstdint>
#include <memory>

namespace veyrin::two_view {

/// Null when x265 was not built for this bit depth.
[[nodiscard]] const x265_api* x265_for(std::uint32_t bit_depth);

/// Gives objects back to the interface that has made them.
struct X265Release {
  const x265_api* api = nullptr;
  void operator()(x265_param* parameters) const { api->param_free(parameters); }
  void operator()(x265_encoder* encoder) const { api->encoder_close(encoder); }
};

using X265Parameters = std::unique_ptr<x265_param, X265Release>;
using X265Handle = std::unique_ptr<x265_encoder, X265Release>;

}  // namespace veyrin::two_view
