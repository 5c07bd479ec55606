#include "common/platform/program.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <string>

#include "common/platform/files.h"
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

// The runtime keeps the numbers 0 to 2 of missing streams free by itself, and its writes to them fail; the
// number of a missing handle could become that of a file, which would then pass for the stream. The device is
// for reading only, so that a child that inherits it cannot believe that it was heard.
void occupy_if_missing(DWORD name) {
  const HANDLE handle = GetStdHandle(name);
  if (handle != nullptr && handle != INVALID_HANDLE_VALUE && GetFileType(handle) != FILE_TYPE_UNKNOWN) return;
  const HANDLE device = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (device != INVALID_HANDLE_VALUE) SetStdHandle(name, device);
}

/// Volume and number, which only one file has; nothing for what is no file on a disk.
std::optional<std::array<DWORD, 3>> identity_of(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION information{};
  if (GetFileType(handle) != FILE_TYPE_DISK || GetFileInformationByHandle(handle, &information) == 0) {
    return std::nullopt;
  }
  return std::array{information.dwVolumeSerialNumber, information.nFileIndexHigh, information.nFileIndexLow};
}

// A plain name is looked for beside the program and in the system's folders, never in the current folder,
// where anyone may have put a library of that name.
HMODULE load_module(const std::string& name) {
  const std::filesystem::path path = path_from_utf8(name);
  if (!path.has_parent_path()) {
    return LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  }
  return LoadLibraryExW(std::filesystem::absolute(path).make_preferred().c_str(), nullptr,
                        LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR);
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

void secure_standard_streams() {
  occupy_if_missing(STD_INPUT_HANDLE);
  occupy_if_missing(STD_OUTPUT_HANDLE);
  occupy_if_missing(STD_ERROR_HANDLE);
}

bool is_printed_into(const std::filesystem::path& file) {
  const Handle opened(CreateFileW(file.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  const auto named = opened.valid() ? identity_of(opened.get()) : std::nullopt;
  return named && (named == identity_of(GetStdHandle(STD_OUTPUT_HANDLE)) ||
                   named == identity_of(GetStdHandle(STD_ERROR_HANDLE)));
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

std::unique_ptr<SharedLibrary> SharedLibrary::load(const std::string& name) {
  HMODULE module = load_module(name);
  return module != nullptr ? std::unique_ptr<SharedLibrary>(new SharedLibrary(module)) : nullptr;
}

SharedLibrary::~SharedLibrary() {
  FreeLibrary(static_cast<HMODULE>(handle_));
}

void* SharedLibrary::address_of(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

}  // namespace veyrin::platform
