// Runs the command-line parser on a list of arguments.
#pragma once

#include <string>
#include <vector>

#include "app/options.h"

namespace veyrin::test {

struct ParsedArguments {
  bool accepted = false;
  ConversionOptions options;
  std::string error;
};

/// `arguments` without the program's own name.
inline ParsedArguments parse_arguments(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv{"veyrin-video-converter"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  ParsedArguments parsed;
  parsed.accepted =
      parse_command_line(static_cast<int>(argv.size()), argv.data(), parsed.options, parsed.error);
  return parsed;
}

/// The arguments as one line, for failure messages.
inline std::string joined(const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) line.append("[").append(argument).append("]");
  return line;
}

}  // namespace veyrin::test
