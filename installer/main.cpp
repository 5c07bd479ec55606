// veyrin-path-entry add|remove FOLDER: puts a folder into the user's own Path, or takes it out. The
// installer's scripting language cannot: it cuts texts at a thousand characters, which many people's Path
// exceeds.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "installer/path_list.h"

namespace veyrin::installer {
namespace {

constexpr const wchar_t* environment_key = L"Environment";
constexpr const wchar_t* path_value = L"Path";

struct PathValue {
  std::wstring text;
  // Names of other variables in it, as %USERPROFILE%, are replaced when it is used.
  DWORD type = REG_EXPAND_SZ;
};

/// Nothing when it cannot be read; an empty list when the user has none.
std::optional<PathValue> read_path(HKEY key) {
  PathValue value;
  DWORD bytes = 0;
  LSTATUS status = RegQueryValueExW(key, path_value, nullptr, &value.type, nullptr, &bytes);
  if (status == ERROR_FILE_NOT_FOUND) return PathValue{};
  if (status != ERROR_SUCCESS || (value.type != REG_SZ && value.type != REG_EXPAND_SZ)) return std::nullopt;
  value.text.resize(bytes / sizeof(wchar_t));
  status = RegQueryValueExW(key, path_value, nullptr, &value.type, reinterpret_cast<BYTE*>(value.text.data()),
                            &bytes);
  if (status != ERROR_SUCCESS) return std::nullopt;
  value.text.resize(std::min(value.text.find(L'\0'), bytes / sizeof(wchar_t)));
  return value;
}

// A Path without a folder goes away: a user without folders of their own has none.
bool write_path(HKEY key, const PathValue& value) {
  if (value.text.empty()) return RegDeleteValueW(key, path_value) == ERROR_SUCCESS;
  const auto bytes = static_cast<DWORD>((value.text.size() + 1) * sizeof(wchar_t));
  return RegSetValueExW(key, path_value, 0, value.type, reinterpret_cast<const BYTE*>(value.text.c_str()),
                        bytes) == ERROR_SUCCESS;
}

// Programs that are started from now on see the new list; without this, only those of the next session would.
void tell_other_programs() {
  constexpr UINT wait_milliseconds = 2000;
  SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0, reinterpret_cast<LPARAM>(environment_key),
                      SMTO_ABORTIFHUNG, wait_milliseconds, nullptr);
}

int change_path(std::wstring_view action, std::wstring_view folder) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, environment_key, 0, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE,
                      nullptr, &key, nullptr) != ERROR_SUCCESS)
    return 1;
  auto value = read_path(key);
  bool done = value.has_value();
  if (value) {
    const std::wstring changed =
        action == L"add" ? add_folder(value->text, folder) : remove_folder(value->text, folder);
    if (changed != value->text) {
      value->text = changed;
      done = write_path(key, *value);
      tell_other_programs();
    }
  }
  RegCloseKey(key);
  return done ? 0 : 1;
}

}  // namespace
}  // namespace veyrin::installer

int wmain(int argc, wchar_t** argv) {
  const std::wstring_view action = argc == 3 ? argv[1] : L"";
  if (action != L"add" && action != L"remove") {
    std::fputws(L"usage: veyrin-path-entry add|remove FOLDER\n", stderr);
    return 2;
  }
  return veyrin::installer::change_path(action, argv[2]);
}
