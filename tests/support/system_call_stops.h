// Runs a piece of this program in a process of its own that can be killed at any of its system calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace veyrin::test {

struct TracedRun {
  bool killed = false;
  int exit_code = -1;                       ///< of a run that was not killed
  std::vector<std::uint64_t> system_calls;  ///< numbers of those begun, in order
};

/// Runs `action` in a forked process and kills that at the entry of its n-th system call, before the system
/// has done anything for it; counts from 0, and without a number the process ends by itself with what
/// `action` returns. Nothing when this system does not let processes be traced.
std::optional<TracedRun> run_until_system_call(const std::function<int()>& action,
                                               std::optional<std::size_t> killed_at);

}  // namespace veyrin::test
