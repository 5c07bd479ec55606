#include "app/option_table.h"
#include "app/options.h"

namespace veyrin {
namespace {

constexpr std::string_view introduction =
    "Usage: veyrin-video-converter [options] INPUT...\n"
    "       veyrin-video-converter check-support [options] INPUT\n"
    "\n"
    "Native raw dual-track spatial video converter.\n"
    "\n";

constexpr std::size_t description_column = 28;

/// The values of an option as the usage text writes them, with a leading blank; empty for a flag.
std::string value_text(const OptionRow& row) {
  std::string text;
  if (const auto* keyword = std::get_if<KeywordField>(&row.target)) {
    for (const std::string_view word : keyword->values) text.append(text.empty() ? " " : "|").append(word);
  } else if (!row.placeholder.empty()) {
    text.append(" ").append(row.placeholder);
  }
  return text;
}

std::string heading(const OptionRow& row) {
  const std::string alias = row.short_name.empty() ? "" : std::string(row.short_name) + ", ";
  return alias + std::string(row.name) + value_text(row);
}

/// One entry; a heading that would touch the column of the descriptions gets a line of its own.
std::string usage_entry(std::string_view heading, std::string_view description) {
  std::string entry = "  " + std::string(heading);
  if (entry.size() + 2 > description_column)
    entry.append("\n").append(description_column, ' ');
  else
    entry.resize(description_column, ' ');
  return entry.append(description).append("\n");
}

}  // namespace

std::string usage_text() {
  std::string text(introduction);
  text += usage_entry("check-support", "report whether the requested conversion is supported as JSON");
  bool synthetic_block = true;
  for (const OptionRow& row : option_table()) {
    if (synthetic_block && !row.synthetic_input) text += "\n";
    synthetic_block = row.synthetic_input;
    text += usage_entry(heading(row), row.description);
  }
  return text;
}

}  // namespace veyrin
