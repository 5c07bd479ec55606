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
