// The argument vectors with which the packaged FFmpeg program is run.
#pragma once

#include <string>
#include <vector>

#include "convert/software_encode_request.h"

namespace veyrin {

/// Encodes one tiny picture to nowhere: shows that libx265 works in the given depth.
std::vector<std::string> packaged_probe_arguments(bool ten_bit);

/// Encodes raw frames of standard input, copies the recording's audio and writes the movie. The request's
/// paths must be absolute: the program runs in its own folder.
std::vector<std::string> packaged_encode_arguments(const SoftwareEncodeRequest& request);

}  // namespace veyrin
