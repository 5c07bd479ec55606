// Environment switches of the program.
#pragma once

#include <optional>
#include <string>

namespace veyrin::platform {

/// The variable's value in UTF-8; nothing when it is not set.
std::optional<std::string> environment_value(const char* name);

/// True only when the variable is set to exactly "1".
bool environment_switch(const char* name);

}  // namespace veyrin::platform
