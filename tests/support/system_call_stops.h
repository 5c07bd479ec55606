// Runs code in a forked process that can be killed at any of its system calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace veyrin::test {

struct TracedRun {
  bool killed = false;
  int exit_code = -1;                       ///< if it was not killed
  std::vector<std::uint64_t> system_calls;  ///< numbers of the calls that were begun, in order
};

/// Runs `action` in a forked process and kills the process on entry to system call number `killed_at`,
/// counted from 0, before that has any effect. Without a number the process exits with the result of
/// `action`. Nothing if the system does not allow processes to be traced.
std::optional<TracedRun> run_until_system_call(const std::function<int()>& action,
                                               std::optional<std::size_t> killed_at);

}  // namespace veyrin::test
