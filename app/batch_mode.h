// The batch of inputs: inspects, plans or converts one after another.
#pragma once

#include <string>

#include "common/conversion_options.h"

namespace veyrin {

/// Handles the inputs in their order with report lines on the console. The first that fails ends the batch:
/// false with its message in `error`; outputs written before stay.
[[nodiscard]] bool run_batch(const ConversionOptions& options, std::string& error);

}  // namespace veyrin
