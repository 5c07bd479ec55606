#include "common/platform/files.h"

#include <windows.h>

#include <system_error>

#include "common/platform/win32/windows_api.h"

namespace veyrin::platform {
namespace {

// True once the content would survive a loss of power.
[[nodiscard]] bool write_through(const std::filesystem::path& path) {
  const Handle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return file.valid() && FlushFileBuffers(file.get()) != 0;
}

}  // namespace

// A path made from narrow text would take each byte for a character of its own.
std::filesystem::path path_from_utf8(std::string_view text) {
  return {wide_from_utf8(text)};
}

std::string path_to_utf8(const std::filesystem::path& path) {
  return utf8_from_wide(path.native());
}

bool name_is_taken(const std::filesystem::path& path, std::error_code& reason) {
  reason.clear();
  // The attributes are those of a link itself, not of its target.
  if (GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) return true;
  const DWORD code = GetLastError();
  // An empty path and one with a wildcard name nothing.
  const bool missing = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ||
                       code == ERROR_INVALID_NAME || code == ERROR_BAD_PATHNAME;
  if (!missing) reason.assign(static_cast<int>(code), std::system_category());
  return false;
}

std::filesystem::path follow_links(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return path;
  const Handle target(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!target.valid()) return path;
  constexpr DWORD longest_path = 32768;
  std::wstring name(longest_path, L'\0');
  const DWORD length = GetFinalPathNameByHandleW(target.get(), name.data(), longest_path, 0);
  if (length == 0 || length >= longest_path) return path;
  name.resize(length);
  // The long form of a path on a drive; programs know the short one.
  constexpr std::wstring_view long_form = LR"(\\?\)";
  if (name.starts_with(long_form) && !name.starts_with(LR"(\\?\UNC\)")) name.erase(0, long_form.size());
  return {name};
}

bool replace_file(const std::filesystem::path& source, const std::filesystem::path& target,
                  std::string& reason) {
  // The content goes first: a name that reaches the disk before its bytes would be an empty file.
  if (write_through(source) &&
      MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0) {
    return true;
  }
  reason = std::system_category().message(static_cast<int>(GetLastError()));
  return false;
}

}  // namespace veyrin::platform
