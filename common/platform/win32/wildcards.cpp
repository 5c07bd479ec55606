#include "common/platform/wildcards.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>

#include "common/platform/wildcard_pattern.h"
#include "common/platform/win32/windows_api.h"

namespace veyrin::platform {
namespace {

/// The search for all names of a folder; its handle is of a kind of its own.
struct SearchEnd {
  void operator()(void* search) const { FindClose(search); }
};

int compare(std::wstring_view left, std::wstring_view right) {
  return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                              static_cast<int>(right.size()), TRUE);
}

bool same_letter(wchar_t left, wchar_t right) {
  return left == right || compare({&left, 1}, {&right, 1}) == CSTR_EQUAL;
}

bool comes_before(const std::wstring& left, const std::wstring& right) {
  return compare(left, right) == CSTR_LESS_THAN;
}

bool is_visible_file(const WIN32_FIND_DATAW& entry) {
  constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
  return (entry.dwFileAttributes & others) == 0;
}

/// The files in the folder (a text that ends in a separator, or nothing) whose names fit, in order. All names
/// are asked for: the system's own patterns also look at the short names that it makes up for long ones.
std::vector<std::wstring> fitting_files(const std::wstring& folder, std::wstring_view pattern) {
  std::vector<std::wstring> names;
  WIN32_FIND_DATAW entry{};
  const HANDLE search = FindFirstFileW((folder + L"*").c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) return names;
  const std::unique_ptr<void, SearchEnd> end(search);
  do {
    const std::wstring name(static_cast<const wchar_t*>(entry.cFileName));
    if (is_visible_file(entry) && fits_wildcards(name, pattern, same_letter)) names.push_back(name);
  } while (FindNextFileW(search, &entry) != 0);
  std::sort(names.begin(), names.end(), comes_before);
  return names;
}

}  // namespace

std::vector<std::string> expand_wildcards(const std::string& name) {
  const std::wstring wide = wide_from_utf8(name);
  const std::size_t separator = wide.find_last_of(L"/\\:");
  const std::size_t begin = separator == std::wstring::npos ? 0 : separator + 1;
  if (wide.find_first_of(L"*?", begin) == std::wstring::npos) return {name};
  const std::wstring folder = wide.substr(0, begin);
  std::vector<std::string> names;
  for (const std::wstring& file : fitting_files(folder, std::wstring_view(wide).substr(begin))) {
    // A name that begins with a dash would be taken for an option.
    const bool dashed = folder.empty() && file.front() == L'-';
    names.push_back(utf8_from_wide(dashed ? LR"(.\)" + file : folder + file));
  }
  if (names.empty()) names.push_back(name);
  return names;
}

}  // namespace veyrin::platform
