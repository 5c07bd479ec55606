// The HEVC SEI message about reference displays, which precedes the first picture of a two-view stream.
#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include <cstdint>
#include <vector>

namespace veyrin::simulated_nvenc {

/// A NAL unit with start code. Throws a Refusal for more displays than the structure holds.
std::vector<std::uint8_t> display_message(const HEVC_3D_REFERENCE_DISPLAY_INFO& displays);

}  // namespace veyrin::simulated_nvenc
