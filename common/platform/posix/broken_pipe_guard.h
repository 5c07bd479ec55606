// Writing into a pipe whose reader may be gone.
#pragma once

#include <cerrno>
#include <csignal>

namespace veyrin::platform {

/// Holds SIGPIPE back from the calling thread while it lives, so that a reader that is gone is an error of
/// the write and the process's own handling of the signal stays as it is. A signal that waited before stays
/// waiting.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&broken_pipe_);
    sigaddset(&broken_pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken_pipe_, &previous_);
  }
  ~BrokenPipeGuard() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

  /// Takes back the signal of a write that failed.
  void discard_signal() const {
    const timespec at_once{};
    if (was_pending_) return;
    while (sigtimedwait(&broken_pipe_, nullptr, &at_once) < 0 && errno == EINTR) {
    }
  }

 private:
  sigset_t broken_pipe_{};
  sigset_t previous_{};
  bool was_pending_ = false;
};

}  // namespace veyrin::platform
