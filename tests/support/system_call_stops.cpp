#include "tests/support/system_call_stops.h"

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace veyrin::test {
namespace {

constexpr int exit_code_not_traced = 125;
constexpr int system_call_stop = SIGTRAP | 0x80;

[[noreturn]] void run_traced(const std::function<int()>& action) {
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(exit_code_not_traced);
  raise(SIGSTOP);
  _exit(action());
}

// The number of the system call that the process is about to enter; nothing at a call's exit.
std::optional<std::uint64_t> entered_system_call(pid_t process) {
  __ptrace_syscall_info info{};
  if (ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info) <= 0) return std::nullopt;
  if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return std::nullopt;
  return info.entry.nr;
}

}  // namespace

std::optional<TracedRun> run_until_system_call(const std::function<int()>& action,
                                               std::optional<std::size_t> killed_at) {
  const pid_t process = fork();
  if (process < 0) return std::nullopt;
  if (process == 0) run_traced(action);

  TracedRun run;
  int status = 0;
  waitpid(process, &status, 0);
  if (!WIFSTOPPED(status)) return std::nullopt;
  ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  int signal_to_deliver = 0;
  while (ptrace(PTRACE_SYSCALL, process, nullptr, signal_to_deliver) == 0 &&
         waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
    signal_to_deliver = 0;
    if (WSTOPSIG(status) != system_call_stop) {
      signal_to_deliver = WSTOPSIG(status);
      continue;
    }
    const auto number = entered_system_call(process);
    if (!number) continue;
    run.system_calls.push_back(*number);
    if (run.system_calls.size() - 1 != killed_at) continue;
    kill(process, SIGKILL);
    waitpid(process, &status, 0);
    break;
  }
  run.killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  if (WIFEXITED(status)) run.exit_code = WEXITSTATUS(status);
  return run;
}

}  // namespace veyrin::test
