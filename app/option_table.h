// The table of all options: how they are spelled, what they take, where the value goes and what the usage
// text says of them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "common/conversion_options.h"

namespace veyrin {

template <typename Value>
using OptionField = Value ConversionOptions::*;

/// An option with a closed list of values: value N of the list stands for the enumerator with the value N.
struct KeywordField {
  std::span<const std::string_view> values;
  void (*store)(ConversionOptions& options, int value_index);
};

/// Where a value goes; the alternative is the option's kind (`bool` fields are flags and take no value).
using OptionTarget =
    std::variant<OptionField<bool>, OptionField<std::string>, OptionField<std::filesystem::path>,
                 OptionField<std::optional<std::filesystem::path>>, OptionField<std::int32_t>,
                 OptionField<std::optional<std::int32_t>>, OptionField<double>,
                 OptionField<std::optional<double>>, KeywordField>;

struct OptionRow {
  std::string_view name;
  std::string_view short_name;   ///< second spelling, empty when there is none
  std::string_view placeholder;  ///< of the value in the usage text; keyword options show their list
  std::string_view description;
  bool synthetic_input = false;  ///< describes an input for check-support; its own block of the usage text
  OptionTarget target;
};

/// All options in the order of the usage text.
std::span<const OptionRow> option_table();

/// The row that an argument names, by either spelling; null when there is none.
const OptionRow* find_option(std::string_view argument);

/// Whether the argument behind this option is its value.
bool takes_value(const OptionRow& row);

/// What `--help` prints, line feeds included.
std::string usage_text();

/// The keywords as a sentence writes them: "a or b", "a, b, or c".
std::string keyword_list(std::span<const std::string_view> values);

}  // namespace veyrin
