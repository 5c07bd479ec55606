// The rules between options, tested once all arguments are read.
#pragma once

#include <string>

#include "common/conversion_options.h"

namespace veyrin {

/// Tests the rules in their fixed order; false with the message of the first broken one in `error`.
[[nodiscard]] bool check_option_rules(const ConversionOptions& options, std::string& error);

}  // namespace veyrin
