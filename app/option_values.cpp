#include <charconv>
#include <cmath>
#include <locale>
#include <sstream>

#include "app/options.h"
#include "common/error_text.h"

namespace veyrin {
namespace {

[[nodiscard]] bool fail_numeric(std::string_view text, std::string_view option, std::string& error) {
  return fail(error, std::string(option) + " has an invalid numeric value: " + std::string(text));
}

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

}  // namespace veyrin
