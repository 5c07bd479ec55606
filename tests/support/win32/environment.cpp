#include "tests/support/environment.h"

#include <windows.h>

#include "common/platform/win32/windows_api.h"

namespace veyrin::test {

void set_variable(const char* name, const std::string& value) {
  SetEnvironmentVariableW(platform::wide_from_utf8(name).c_str(), platform::wide_from_utf8(value).c_str());
}

void remove_variable(const char* name) {
  SetEnvironmentVariableW(platform::wide_from_utf8(name).c_str(), nullptr);
}

}  // namespace veyrin::test
