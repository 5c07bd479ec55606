// Patterns for file names as Windows knows them. Plain text work, the same on every system.
#pragma once

#include <cstddef>
#include <string_view>

namespace veyrin::platform {

/// Whether two characters count as one, as capital and small letters do in names of Windows.
using SameCharacter = bool (*)(wchar_t, wchar_t);

/// Whether the whole name fits the pattern: `*` stands for any characters or none, `?` for one (of UTF-16, on
/// Windows), anything else for itself. `*.*` fits names without a dot, too, as it always has on Windows.
inline bool fits_wildcards(std::wstring_view name, std::wstring_view pattern, SameCharacter same) {
  if (pattern == L"*.*") return true;
  std::size_t in_name = 0;
  std::size_t in_pattern = 0;
  // Where to go on when the characters behind the last star turn out to stand further right.
  std::size_t star = std::wstring_view::npos;
  std::size_t behind_star = 0;
  while (in_name < name.size()) {
    const wchar_t wanted = in_pattern < pattern.size() ? pattern[in_pattern] : L'\0';
    if (wanted == L'*') {
      star = in_pattern++;
      behind_star = in_name;
    } else if (wanted != L'\0' && (wanted == L'?' || same(wanted, name[in_name]))) {
      ++in_pattern;
      ++in_name;
    } else if (star != std::wstring_view::npos) {
      in_pattern = star + 1;
      in_name = ++behind_star;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of(L'*', in_pattern) == std::wstring_view::npos;
}

}  // namespace veyrin::platform
