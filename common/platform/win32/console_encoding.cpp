#include "common/platform/console_encoding.h"

#include <windows.h>

#include <atomic>

namespace veyrin::platform {
namespace {

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
