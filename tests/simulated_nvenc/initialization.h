// The initialization of an encode session: checks its parameters and derives the settings of the coder.
#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include "tests/simulated_nvenc/settings.h"
#include "tests/simulated_nvenc/stream_coder.h"

namespace veyrin::simulated_nvenc {

/// Where parameter sets are written within the stream.
enum class HeaderPlacement { never, first_picture, every_idr };

struct SessionSetup {
  StreamSettings stream;
  HeaderPlacement headers = HeaderPlacement::first_picture;
  bool display_information = false;  ///< write the message about reference displays
};

/// Throws a Refusal for parameters that a driver would not accept.
SessionSetup accept(const NV_ENC_INITIALIZE_PARAMS& parameters, const Settings& settings);

/// The settings as one line for the log.
std::string description(const NV_ENC_INITIALIZE_PARAMS& parameters, const SessionSetup& setup);

}  // namespace veyrin::simulated_nvenc
