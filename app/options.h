// The command line: from the argument vector to one record or exactly one error message.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/conversion_options.h"

namespace veyrin {

/// Reads the arguments from index 1 on into `options`, which holds the defaults, and then tests the rules
/// between options. False with one message in `error` at the first failure; `options` is then not to be used.
[[nodiscard]] bool parse_command_line(int argc, const char* const* argv, ConversionOptions& options,
                                      std::string& error);

/// Advances `index` and takes the argument there as the value of `option`, even one that begins with a dash.
[[nodiscard]] bool take_option_value(int& index, int argc, const char* const* argv, std::string_view option,
                                     std::string& value, std::string& error);

/// The whole text as a signed 32-bit decimal number: an optional minus sign and digits, nothing else.
[[nodiscard]] bool parse_integer_option(std::string_view text, std::string_view option, std::int32_t& value,
                                        std::string& error);

/// The whole text as a finite decimal number in the "C" locale; only white space may precede it.
[[nodiscard]] bool parse_real_option(std::string_view text, std::string_view option, double& value,
                                     std::string& error);

/// Tests the rules in their fixed order; false with the message of the first broken one in `error`.
[[nodiscard]] bool check_option_rules(const ConversionOptions& options, std::string& error);

}  // namespace veyrin
