#include "app/options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <locale>
#include <optional>
#include <sstream>
#include <variant>

#include "app/option_table.h"
#include "app/options.h"
#include "common/error_text.h"
#include "common/platform/files.h"

namespace veyrin {
namespace {

constexpr std::string_view check_support_command = "check-support";

[[nodiscard]] bool fail_numeric(std::string_view text, std::string_view option, std::string& error) {
  return fail(error, std::string(option) + " has an invalid numeric value: " + std::string(text));
}

[[nodiscard]] bool convert_value(const std::string& text, std::string_view, std::string& value,
                                 std::string&) {
  value = text;
  return true;
}

[[nodiscard]] bool convert_value(const std::string& text, std::string_view, std::filesystem::path& value,
                                 std::string&) {
  value = platform::path_from_utf8(text);
  return true;
}

[[nodiscard]] bool convert_value(const std::string& text, std::string_view option, std::int32_t& value,
                                 std::string& error) {
  return parse_integer_option(text, option, value, error);
}

[[nodiscard]] bool convert_value(const std::string& text, std::string_view option, double& value,
                                 std::string& error) {
  return parse_real_option(text, option, value, error);
}

template <typename Value>
[[nodiscard]] bool convert_value(const std::string& text, std::string_view option,
                                 std::optional<Value>& value, std::string& error) {
  return convert_value(text, option, value.emplace(), error);
}

/// Stores one option with its value in the record; one overload per kind of target.
class OptionStore {
 public:
  OptionStore(const OptionRow& row, const std::string& value, ConversionOptions& options, std::string& error)
      : row_(row), value_(value), options_(options), error_(error) {}

  [[nodiscard]] bool operator()(OptionField<bool> flag) const {
    options_.*flag = true;
    return true;
  }

  [[nodiscard]] bool operator()(const KeywordField& keyword) const {
    const auto word = std::find(keyword.values.begin(), keyword.values.end(), value_);
    if (word == keyword.values.end()) {
      return fail(error_, std::string(row_.name) + " must be " + keyword_list(keyword.values));
    }
    keyword.store(options_, static_cast<int>(word - keyword.values.begin()));
    return true;
  }

  template <typename Value>
  [[nodiscard]] bool operator()(OptionField<Value> field) const {
    return convert_value(value_, row_.name, options_.*field, error_);
  }

 private:
  const OptionRow& row_;
  const std::string& value_;
  ConversionOptions& options_;
  std::string& error_;
};

}  // namespace

bool take_option_value(int& index, int argc, const char* const* argv, std::string_view option,
                       std::string& value, std::string& error) {
  ++index;
  if (index >= argc) return fail(error, std::string(option) + " requires a value");
  value = argv[index];
  return true;
}

bool parse_integer_option(std::string_view text, std::string_view option, std::int32_t& value,
                          std::string& error) {
  const char* const end = text.data() + text.size();
  const auto [stop, status] = std::from_chars(text.data(), end, value);
  if (status != std::errc() || stop != end) return fail_numeric(text, option, error);
  return true;
}

bool parse_real_option(std::string_view text, std::string_view option, double& value, std::string& error) {
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  stream >> value;
  if (stream.fail() || !stream.eof() || !std::isfinite(value)) return fail_numeric(text, option, error);
  return true;
}

bool parse_command_line(int argc, const char* const* argv, ConversionOptions& options, std::string& error) {
  for (int index = 1; index < argc; ++index) {
    const std::string_view argument = argv[index];
    if (index == 1 && argument == check_support_command) {
      options.check_support = true;
    } else if (const OptionRow* row = find_option(argument)) {
      std::string value;
      if (takes_value(*row) && !take_option_value(index, argc, argv, row->name, value, error)) return false;
      if (!std::visit(OptionStore(*row, value, options, error), row->target)) return false;
    } else if (argument.starts_with('-')) {
      return fail(error, "unknown option: " + std::string(argument));
    } else {
      options.inputs.emplace_back(argument);
    }
  }
  return check_option_rules(options, error);
}

}  // namespace veyrin
