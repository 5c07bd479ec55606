#include "common/platform/program.h"

#include <windows.h>

#include <atomic>
#include <string>

#include "common/platform/win32/windows_api.h"

namespace veyrin::platform {
namespace {

/// The longest path that Windows has, its end mark included.
constexpr DWORD longest_path = 32768;

/// The code page to go back to; 0 for none.
std::atomic<unsigned> previous{0};

void put_back() {
  if (const unsigned code_page = previous.exchange(0)) SetConsoleOutputCP(code_page);
}

// An interrupt ends the program without destroying anything.
BOOL WINAPI put_back_at_interrupt(DWORD /*event*/) {
  put_back();
  return FALSE;
}

}  // namespace

std::optional<std::string> environment_value(const char* name) {
  const std::wstring wide_name = wide_from_utf8(name);
  std::wstring value;
  // The size with the end mark while the buffer is too small, the length without it once it fits.
  DWORD size = 1;
  do {
    value.resize(size);
    SetLastError(ERROR_SUCCESS);
    size = GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    if (size == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
  } while (size >= value.size());
  value.resize(size);
  return utf8_from_wide(value);
}

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

// The console belongs to the shell too, which gets its own code page back.
Utf8Console::Utf8Console() {
  previous = GetConsoleOutputCP();
  if (previous == 0) return;
  SetConsoleCtrlHandler(put_back_at_interrupt, TRUE);
  SetConsoleOutputCP(CP_UTF8);
}

Utf8Console::~Utf8Console() {
  SetConsoleCtrlHandler(put_back_at_interrupt, FALSE);
  put_back();
}

}  // namespace veyrin::platform
