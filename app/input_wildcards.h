// Inputs with wildcards on systems whose command prompt does not replace them.
#pragma once

#include <string>
#include <vector>

#include "common/platform/wildcards.h"

namespace veyrin {

/// The files that a name stands for, at least one: the name itself where nothing fits it.
using WildcardExpansion = std::vector<std::string> (*)(const std::string& name);

/// All arguments, the program's own name included, with each input replaced by the files that it stands for.
/// Options and their values stay as they are.
std::vector<std::string> expand_input_wildcards(int argc, const char* const* argv,
                                                WildcardExpansion expand = platform::expand_wildcards);

}  // namespace veyrin
