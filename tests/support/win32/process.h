// Handles of other processes on Windows.
#pragma once

#include <windows.h>

#include <string>

#include "common/platform/win32/windows_api.h"

namespace veyrin::test {

/// The process with this ID, with the rights to wait for it, get its exit code and terminate it; invalid if
/// it no longer exists.
inline platform::Handle open_process(const std::string& number) {
  return platform::Handle(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE,
                                      FALSE, static_cast<DWORD>(std::stoul(number))));
}

inline bool ends_within(const platform::Handle& process, DWORD milliseconds) {
  return WaitForSingleObject(process.get(), milliseconds) == WAIT_OBJECT_0;
}

/// The exit code of a process that has ended; `STILL_ACTIVE` if it has not.
inline DWORD exit_code(const platform::Handle& process) {
  DWORD code = 0;
  GetExitCodeProcess(process.get(), &code);
  return code;
}

}  // namespace veyrin::test
