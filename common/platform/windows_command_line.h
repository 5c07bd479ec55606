// Command lines as Windows programs take them apart. Plain text work, the same on every system.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace veyrin::platform {

/// One item as the usual Windows argument parser reads it back. As it stands when it has no space, tab or
/// double quote, an empty item too; else in double quotes with the backslashes that its quotes and its end
/// need.
inline std::string quote_windows_argument(std::string_view item) {
  if (item.find_first_of(" \t\"") == std::string_view::npos) return std::string(item);
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char character : item) {
    if (character == '\\') {
      ++backslashes;
      continue;
    }
    // Backslashes mean themselves unless a double quote follows them.
    quoted.append(character == '"' ? 2 * backslashes + 1 : backslashes, '\\');
    quoted += character;
    backslashes = 0;
  }
  quoted.append(2 * backslashes, '\\');
  return quoted + '"';
}

/// The quoted executable and each quoted argument behind one space.
inline std::string windows_command_line(std::string_view executable,
                                        const std::vector<std::string>& arguments) {
  std::string line = quote_windows_argument(executable);
  for (const std::string& argument : arguments) line += ' ' + quote_windows_argument(argument);
  return line;
}

}  // namespace veyrin::platform
