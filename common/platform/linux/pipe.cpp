#include "common/platform/linux/pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

namespace veyrin::platform {
namespace {

constexpr int large_pipe_bytes = 1048576;

}  // namespace

BrokenPipeGuard::BrokenPipeGuard() {
  sigset_t pending;
  sigpending(&pending);
  was_pending_ = sigismember(&pending, SIGPIPE) == 1;
  sigemptyset(&broken_pipe_);
  sigaddset(&broken_pipe_, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &broken_pipe_, &previous_);
}

BrokenPipeGuard::~BrokenPipeGuard() {
  pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

void BrokenPipeGuard::discard_signal() const {
  const timespec at_once{};
  if (was_pending_) return;
  while (sigtimedwait(&broken_pipe_, nullptr, &at_once) < 0 && errno == EINTR) {
  }
}

Descriptor above_standard_streams(Descriptor descriptor) {
  if (!descriptor.valid() || descriptor.get() > STDERR_FILENO) return descriptor;
  return Descriptor(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

bool open_pipe(Pipe& result) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  Descriptor read_end(ends[0]);
  Descriptor write_end(ends[1]);
  result.read_end = above_standard_streams(std::move(read_end));
  result.write_end = above_standard_streams(std::move(write_end));
  return result.read_end.valid() && result.write_end.valid();
}

void enlarge_pipe(const Pipe& pipe) {
  fcntl(pipe.write_end.get(), F_SETPIPE_SZ, large_pipe_bytes);
}

}  // namespace veyrin::platform
