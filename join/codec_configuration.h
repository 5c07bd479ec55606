// What a decoder needs to know before the first picture.
#pragma once

#include <string>

struct AVCodecParameters;

namespace veyrin {

/// The bytes of the stream's codec configuration as files of the MP4 family hold it, without the messages in
/// that of HEVC: software encoders tell there on which machine they ran, which makes no difference.
std::string parameter_sets_of(const AVCodecParameters& stream);

}  // namespace veyrin
