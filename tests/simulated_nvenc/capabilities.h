// The capabilities that the simulated GPU reports.
#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include <vector>

#include "tests/simulated_nvenc/settings.h"

namespace veyrin::simulated_nvenc {

/// The codecs of this GPU.
std::vector<GUID> codecs(const Settings& settings);

/// Throws a Refusal for a codec that this GPU does not have.
void require_codec(const Settings& settings, const GUID& codec);

/// 0 for unsupported capabilities.
int capability(const Settings& settings, const GUID& codec, NV_ENC_CAPS question);

/// The largest number of consecutive B-frames.
int max_b_frames(const GUID& codec);

/// The configuration that a caller starts from. Throws a Refusal for an unknown preset or tuning.
NV_ENC_CONFIG preset_configuration(const Settings& settings, const GUID& codec, const GUID& preset,
                                   NV_ENC_TUNING_INFO tuning);

/// Throws a Refusal for an unknown preset or tuning.
void require_preset(const GUID& preset, NV_ENC_TUNING_INFO tuning);

}  // namespace veyrin::simulated_nvenc
