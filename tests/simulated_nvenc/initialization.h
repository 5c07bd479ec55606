// What an encode session is set up with: the rules of the interface, and the settings they leave.
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
  bool display_information = false;  ///< the message about reference displays is wanted
};

/// Throws a Refusal for what a driver would not take.
SessionSetup accept(const NV_ENC_INITIALIZE_PARAMS& parameters, const Settings& settings);

/// The set-up as one line for the log.
std::string description(const NV_ENC_INITIALIZE_PARAMS& parameters, const SessionSetup& setup);

}  // namespace veyrin::simulated_nvenc
