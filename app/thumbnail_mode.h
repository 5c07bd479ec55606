// The preview of one recording instead of its conversion.
#pragma once

#include <string>

#include "common/conversion_options.h"

namespace veyrin {

/// Writes the preview of the one input to `output` and prints where it is; false with one message in `error`.
/// Throws a file system error when the system cannot say whether the output exists.
[[nodiscard]] bool run_thumbnail(const ConversionOptions& options, std::string& error);

}  // namespace veyrin
