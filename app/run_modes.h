// What the program does with recordings: converts a batch of them, or previews one.
#pragma once

#include <string>

#include "common/conversion_options.h"

namespace veyrin {

/// Inspects, plans or converts the inputs in their order with report lines on the console. The first that
/// fails ends the batch: false with its message in `error`; outputs written before stay.
[[nodiscard]] bool run_batch(const ConversionOptions& options, std::string& error);

/// Writes the preview of the one input to `output` and prints where it is; false with one message in `error`.
/// Throws a file system error when the system cannot say whether the output exists.
[[nodiscard]] bool run_thumbnail(const ConversionOptions& options, std::string& error);

}  // namespace veyrin
