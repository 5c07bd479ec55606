// Command lines as Windows programs take them apart. Plain text work, the same on every system.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace veyrin::platform {

/// One item as the usual Windows argument parser reads it back. As it stands when it has no space, tab or
/// double quote, an empty item too; else in double quotes with the backslashes that its quotes and its end
/// need.
std::string quote_windows_argument(std::string_view item);

/// The quoted executable and each quoted argument behind one space.
std::string windows_command_line(std::string_view executable, const std::vector<std::string>& arguments);

}  // namespace veyrin::platform
