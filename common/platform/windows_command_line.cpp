#include "common/platform/windows_command_line.h"

#include <cstddef>

namespace veyrin::platform {

std::string quote_windows_argument(std::string_view item) {
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

std::string windows_command_line(std::string_view executable, const std::vector<std::string>& arguments) {
  std::string line = quote_windows_argument(executable);
  for (const std::string& argument : arguments) line += ' ' + quote_windows_argument(argument);
  return line;
}

}  // namespace veyrin::platform
