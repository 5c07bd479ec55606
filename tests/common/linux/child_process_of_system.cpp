#include <cerrno>
#include <csignal>
#include <iterator>

#include "tests/common/child_process_fixture.h"

namespace veyrin::test {

// A link, because a copy would look for its libraries beside itself.
void place_child(const std::filesystem::path& helper, const std::filesystem::path& name) {
  std::filesystem::create_symlink(helper, name);
}

const int exit_code_of_terminated_child = 128 + SIGKILL;
const std::chrono::milliseconds clock_step{0};

StartErrors start_errors() {
  const auto text = [](int number) { return "system error " + std::to_string(number); };
  return {text(ENOENT), text(EACCES), text(ENOENT)};
}

std::size_t open_handles() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace veyrin::test
