#include <windows.h>

#include "tests/common/child_process_fixture.h"

namespace veyrin::test {

void place_child(const std::filesystem::path& helper, const std::filesystem::path& name) {
  std::filesystem::copy_file(helper, name);
}

const int exit_code_of_terminated_child = 1;
const std::chrono::milliseconds clock_step{5};

StartErrors start_errors() {
  const auto text = [](DWORD number) { return "Windows error " + std::to_string(number); };
  return {text(ERROR_FILE_NOT_FOUND), text(ERROR_BAD_EXE_FORMAT), text(ERROR_DIRECTORY)};
}

std::size_t open_handles() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

}  // namespace veyrin::test
