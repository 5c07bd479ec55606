#include "app/input_wildcards.h"

#include <string_view>

#include "app/option_table.h"

namespace veyrin {

std::vector<std::string> expand_input_wildcards(int argc, const char* const* argv, WildcardExpansion expand) {
  std::vector<std::string> arguments;
  bool is_value = false;
  for (int index = 0; index < argc; ++index) {
    const std::string_view argument = argv[index];
    const OptionRow* const option = is_value || index == 0 ? nullptr : find_option(argument);
    const bool is_input = index > 0 && !is_value && !argument.starts_with('-');
    is_value = option != nullptr && takes_value(*option);
    if (!is_input) {
      arguments.emplace_back(argument);
      continue;
    }
    for (std::string& file : expand(std::string(argument))) arguments.push_back(std::move(file));
  }
  return arguments;
}

}  // namespace veyrin
