// Other processes as Windows shows them.
#pragma once

#include <windows.h>

#include <string>

#include "common/platform/win32/windows_api.h"

namespace veyrin::test {

/// The process of this number, to be waited for, asked for its exit code and ended; invalid when there is
/// none any more.
inline platform::Handle open_process(const std::string& number) {
  return platform::Handle(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE,
                                      FALSE, static_cast<DWORD>(std::stoul(number))));
}

inline bool ends_within(const platform::Handle& process, DWORD milliseconds) {
  return WaitForSingleObject(process.get(), milliseconds) == WAIT_OBJECT_0;
}

/// Of a process that has ended; `STILL_ACTIVE` of one that has not.
inline DWORD exit_code(const platform::Handle& process) {
  DWORD code = 0;
  GetExitCodeProcess(process.get(), &code);
  return code;
}

}  // namespace veyrin::test
