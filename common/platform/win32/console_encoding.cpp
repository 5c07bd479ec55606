#include "common/platform/console_encoding.h"

#include <windows.h>

namespace veyrin::platform {

// The console belongs to the shell too, which gets its own code page back.
Utf8Console::Utf8Console() : previous_(GetConsoleOutputCP()) {
  if (previous_ != 0) SetConsoleOutputCP(CP_UTF8);
}

Utf8Console::~Utf8Console() {
  if (previous_ != 0) SetConsoleOutputCP(previous_);
}

}  // namespace veyrin::platform
