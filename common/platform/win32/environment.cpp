#include "common/platform/environment.h"

#include <windows.h>

#include "common/platform/win32/wide_text.h"

namespace veyrin::platform {

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

}  // namespace veyrin::platform
