// Pipes to and from a child process.
#pragma once

#include <csignal>

#include "common/platform/linux/descriptor.h"

namespace veyrin::platform {

/// Holds SIGPIPE back from the calling thread while it lives, so that a reader that is gone is an error of
/// the write and the process's own handling of the signal stays as it is. A signal that waited before stays
/// waiting.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard();
  ~BrokenPipeGuard();
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

  /// Takes back the signal of a write that failed.
  void discard_signal() const;

 private:
  sigset_t broken_pipe_{};
  sigset_t previous_{};
  bool was_pending_ = false;
};

struct Pipe {
  Descriptor read_end;
  Descriptor write_end;
};

/// The same file under a number above those of the standard streams. A program started without them gets
/// their numbers for its next descriptors; the child could then not tell its pipe from the stream that it is
/// to replace. Invalid with errno when there is no such number.
[[nodiscard]] Descriptor above_standard_streams(Descriptor descriptor);

/// A pipe whose ends are above the standard streams and reach no program that is started; errno tells why
/// there is none.
[[nodiscard]] bool open_pipe(Pipe& result);

/// Asks for 1 MiB in the pipe instead of the system's 64 KiB; a refusal leaves it as it is.
void enlarge_pipe(const Pipe& pipe);

}  // namespace veyrin::platform
