#include "common/platform/module_path.h"

#include <windows.h>

#include <string>

namespace veyrin::platform {
namespace {

/// The longest path that Windows has, its end mark included.
constexpr DWORD longest_path = 32768;

}  // namespace

std::filesystem::path module_path() {
  std::wstring name(longest_path, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, name.data(), longest_path);
  // A full buffer holds a name that was cut off.
  if (length == 0 || length == longest_path) return {};
  name.resize(length);
  return name;
}

std::string executable_file_name(std::string_view name) {
  return std::string(name) + ".exe";
}

}  // namespace veyrin::platform
