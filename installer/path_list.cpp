#include "installer/path_list.h"

#include <algorithm>
#include <cwctype>
#include <vector>

namespace veyrin::installer {
namespace {

// Semicolons inside quotation marks belong to a folder's name.
std::vector<std::wstring_view> entries_of(std::wstring_view list) {
  std::vector<std::wstring_view> entries;
  std::size_t begin = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i] == L'"') quoted = !quoted;
    if (list[i] != L';' || quoted) continue;
    entries.push_back(list.substr(begin, i - begin));
    begin = i + 1;
  }
  entries.push_back(list.substr(begin));
  return entries;
}

std::wstring comparable(std::wstring_view entry) {
  std::wstring text;
  for (const wchar_t character : entry)
    if (character != L'"') text += static_cast<wchar_t>(std::towlower(static_cast<wint_t>(character)));
  while (text.ends_with(L'\\')) text.pop_back();
  return text;
}

}  // namespace

std::wstring add_folder(std::wstring_view list, std::wstring_view folder) {
  const std::wstring wanted = comparable(folder);
  const auto entries = entries_of(list);
  if (std::ranges::any_of(entries, [&](std::wstring_view entry) { return comparable(entry) == wanted; }))
    return std::wstring(list);
  std::wstring longer(list);
  if (!longer.empty() && !longer.ends_with(L';')) longer += L';';
  return longer.append(folder);
}

std::wstring remove_folder(std::wstring_view list, std::wstring_view folder) {
  const std::wstring unwanted = comparable(folder);
  std::wstring rest;
  bool first = true;
  for (const std::wstring_view entry : entries_of(list)) {
    if (comparable(entry) == unwanted) continue;
    if (!first) rest += L';';
    first = false;
    rest.append(entry);
  }
  return rest;
}

}  // namespace veyrin::installer
