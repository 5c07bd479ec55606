#include "tests/common/child_tasks.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>

namespace veyrin::test {

void make_streams_binary() {
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
}

void write_nothing() {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "", 0, &written, nullptr);
}

std::string streams_text() {
  std::string text;
  for (const DWORD number : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    DWORD mode = 0;
    const HANDLE stream = GetStdHandle(number);
    const bool console = GetConsoleMode(stream, &mode) != 0;
    text += GetFileType(stream) == FILE_TYPE_CHAR && !console ? "null\n" : "other\n";
  }
  char byte = 0;
  DWORD count = 1;
  const bool ended = ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &count, nullptr) != 0 && count == 0;
  return text + (ended ? "empty\n" : "not empty\n");
}

std::string process_number() {
  return std::to_string(GetCurrentProcessId());
}

bool holds_file(const std::string& number) {
  DWORD flags = 0;
  const auto handle = reinterpret_cast<HANDLE>(std::stoull(number));
  return GetHandleInformation(handle, &flags) != 0 && GetFileType(handle) == FILE_TYPE_DISK;
}

}  // namespace veyrin::test
