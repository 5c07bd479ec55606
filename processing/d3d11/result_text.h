// Messages for Direct3D calls that failed.
#pragma once

#include <windows.h>

#include <string>

namespace veyrin {

/// Stores the message of the step that failed with `result` in `error` and returns false.
[[nodiscard]] bool fail_with_result(std::string& error, const char* step, HRESULT result);

}  // namespace veyrin
