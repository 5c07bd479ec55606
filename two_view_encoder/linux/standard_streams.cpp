// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/standard_streams.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace veyrin::two_view {

void prepare_standard_streams() {
  // A closed output is then a failing call.
  std::signal(SIGPIPE, SIG_IGN);
}

std::size_t read_standard_input(std::span<std::uint8_t> into) {
  std::size_t done = 0;
  while (done < into.size()) {
    const ssize_t result = ::read(STDIN_FILENO, &into[done], into.size() - done);
    if (result < 0 && errno == EINTR) continue;
    if (result <= 0) break;
    done += static_cast<std::size_t>(result);
  }
  return done;
}

bool write_standard_output(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t result = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (result < 0 && errno == EINTR) continue;
    if (result <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(result));
  }
  return true;
}

}  // namespace veyrin::two_view
