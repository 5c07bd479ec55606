// Whether the NVIDIA GPU and its driver can encode two views in one HEVC stream.
#pragma once

#include <cstdint>

#include "decode/nvenc_device.h"

namespace veyrin {

/// One view's picture, in pixels and sample depth.
struct StereoEncodeRequest {
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool ten_bit = false;
};

/// Asks the installed driver; false when it is missing, too old or says no. Width and height are one view's.
bool probe_stereo_mv_hevc_support(std::int32_t width, std::int32_t height, bool ten_bit);

/// Asks the driver in these libraries.
bool probe_stereo_mv_hevc_support(const StereoEncodeRequest& request, const NvencLibraries& libraries);

/// Asks a driver's entry point, on a session that is opened on `device` and destroyed again.
bool encoder_supports_stereo(nvenc::CreateInstance& create_instance, const NvencDevice& device,
                             const StereoEncodeRequest& request);

}  // namespace veyrin
