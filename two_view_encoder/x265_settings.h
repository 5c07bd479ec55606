// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// What x265 is told about a request.
#pragma once

#include <algorithm>
#include <string>

#include "spatial/two_view_protocol.h"
#include "two_view_encoder/x265_library.h"

namespace veyrin::two_view {

/// The preset of requests that name none.
inline constexpr const char* default_preset = "faster";

/// Pictures that are encoded at the same time. The rows of one two-view picture keep about six threads busy,
/// and each further picture adds less, at the cost of its memory.
constexpr int frame_threads(unsigned hardware_threads) {
  constexpr unsigned threads_per_picture = 4, most = 5;
  return static_cast<int>(
      std::clamp((hardware_threads + threads_per_picture - 1) / threads_per_picture, 1U, most));
}

/// Sets everything; the types of pictures are x265's choice except for those of `is_forced_key`.
[[nodiscard]] bool configure(const Request& request, const x265_api& api, x265_param& parameters,
                             std::string& error);

/// Whether every picture is to be a key picture. A key distance of 1 would make x265 declare a profile for
/// intra pictures only; instead each picture is marked as a key picture when it is handed over.
[[nodiscard]] inline bool is_forced_key(const Request& request) {
  return request.key_distance == 1;
}

}  // namespace veyrin::two_view
