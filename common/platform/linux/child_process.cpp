#include "common/platform/child_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

#include "common/platform/files.h"
#include "common/platform/linux/descriptor.h"
#include "common/platform/linux/pipe.h"

namespace veyrin::platform {
namespace {

constexpr int exit_code_not_started = 127;

// An ignored SIGCHLD, inherited from whoever started the program, throws the exit codes of children away.
void keep_exit_codes() {
  struct sigaction current {};
  sigaction(SIGCHLD, nullptr, &current);
  if (current.sa_handler == SIG_IGN) signal(SIGCHLD, SIG_DFL);
}

std::string system_error_text(int code) {
  return "system error " + std::to_string(code);
}

/// All that the child needs between fork and exec, made beforehand: no memory may be allocated there.
struct ChildPlan {
  std::string executable;
  std::string working_directory;
  std::vector<char*> arguments;
  int input = -1;
  int output = -1;  ///< -1: inherited
  int status = -1;  ///< gets errno when the program cannot be run
  pid_t parent = 0;
};

[[nodiscard]] bool connect_streams(const ChildPlan& plan) {
  if (dup2(plan.input, STDIN_FILENO) < 0) return false;
  if (plan.output < 0) return true;
  return dup2(plan.output, STDOUT_FILENO) >= 0 && dup2(plan.output, STDERR_FILENO) >= 0;
}

// Kernels before 5.11 do not know the flag; there each possible descriptor is marked.
void keep_other_descriptors_from_program() {
  constexpr unsigned int first = STDERR_FILENO + 1;
  if (close_range(first, ~0U, CLOSE_RANGE_CLOEXEC) == 0) return;
  const int end = static_cast<int>(sysconf(_SC_OPEN_MAX));
  for (int descriptor = first; descriptor < end; ++descriptor) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

[[noreturn]] void run_child(const ChildPlan& plan) {
  // A parent that dies before this request has no signal left to send; its child is then someone else's.
  bool ready = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0;
  // The converter ignores it, which the child would inherit.
  signal(SIGPIPE, SIG_DFL);
  if (getppid() != plan.parent) _exit(exit_code_not_started);
  ready = ready && connect_streams(plan) && chdir(plan.working_directory.c_str()) == 0;
  if (ready) {
    keep_other_descriptors_from_program();
    // The system's call, not the library's: builds that measure coverage write their counters out in that,
    // which takes memory and may wait for ever for a lock that another thread held at the fork.
    syscall(SYS_execve, plan.executable.c_str(), plan.arguments.data(), environ);
  }
  const int code = errno;
  [[maybe_unused]] const ssize_t written = write(plan.status, &code, sizeof code);
  _exit(exit_code_not_started);
}

int exit_code_of(int status) {
  constexpr int signal_base = 128;
  return WIFEXITED(status) ? WEXITSTATUS(status) : signal_base + WTERMSIG(status);
}

/// waitpid that signals do not interrupt.
pid_t wait_for(pid_t process, int& status, int options) {
  pid_t result = 0;
  do {
    result = waitpid(process, &status, options);
  } while (result < 0 && errno == EINTR);
  return result;
}

/// The errno with which the child gave up, 0 once the program runs.
int read_start_result(const Descriptor& status) {
  int code = 0;
  ssize_t count = 0;
  do {
    count = read(status.get(), &code, sizeof code);
  } while (count < 0 && errno == EINTR);
  return count == sizeof code ? code : 0;
}

}  // namespace

struct ChildProcess::State {
  pid_t process = -1;
  Descriptor input;
  std::optional<int> exit_code;
};

std::unique_ptr<ChildProcess> ChildProcess::start(const ChildProcessRequest& request,
                                                  ChildStartFailure& failure) {
  const auto failed = [&failure](ChildStartFailure::Step step, int code) {
    failure = {step, system_error_text(code)};
    return nullptr;
  };
  Pipe input;
  if (request.input == ChildInput::pipe) {
    if (!open_pipe(input)) return failed(ChildStartFailure::Step::pipe, errno);
    enlarge_pipe(input);
  }
  const Descriptor null_device = above_standard_streams(Descriptor(open("/dev/null", O_RDWR | O_CLOEXEC)));
  Pipe status;
  if (!null_device.valid() || !open_pipe(status)) return failed(ChildStartFailure::Step::process, errno);

  ChildPlan plan;
  // The program is started from within its working directory, where a relative name would mean another file.
  plan.executable = path_to_utf8(std::filesystem::absolute(request.executable));
  plan.working_directory = path_to_utf8(std::filesystem::absolute(request.working_directory));
  std::vector<std::string> words = request.arguments;
  words.insert(words.begin(), plan.executable);
  for (std::string& word : words) plan.arguments.push_back(word.data());
  plan.arguments.push_back(nullptr);
  plan.input = request.input == ChildInput::pipe ? input.read_end.get() : null_device.get();
  plan.output = request.output == ChildOutput::null_device ? null_device.get() : -1;
  plan.status = status.write_end.get();
  plan.parent = getpid();

  keep_exit_codes();
  const pid_t process = fork();
  if (process < 0) return failed(ChildStartFailure::Step::process, errno);
  if (process == 0) run_child(plan);
  status.write_end.reset();
  auto state = std::make_unique<State>();
  state->process = process;
  state->input = std::move(input.write_end);
  std::unique_ptr<ChildProcess> child(new ChildProcess(std::move(state)));
  const int code = read_start_result(status.read_end);
  if (code != 0) return failed(ChildStartFailure::Step::process, code);
  return child;
}

ChildProcess::ChildProcess(std::unique_ptr<State> state) : state_(std::move(state)) {}

ChildProcess::~ChildProcess() {
  close_input();
  terminate();
}

bool ChildProcess::write(std::span<const std::span<const std::byte>> pieces) {
  if (!state_->input.valid()) return false;
  const BrokenPipeGuard guard;
  for (std::span<const std::byte> rest : pieces) {
    while (!rest.empty()) {
      const ssize_t written = ::write(state_->input.get(), rest.data(), rest.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) {
        guard.discard_signal();
        return false;
      }
      rest = rest.subspan(static_cast<std::size_t>(written));
    }
  }
  return true;
}

void ChildProcess::close_input() {
  state_->input.reset();
}

std::optional<int> ChildProcess::wait(std::optional<std::chrono::milliseconds> limit) {
  using namespace std::chrono_literals;
  if (state_->exit_code) return state_->exit_code;
  const auto deadline = std::chrono::steady_clock::now() + limit.value_or(0ms);
  auto pause = 1ms;
  int status = 0;
  while (true) {
    const pid_t ended = wait_for(state_->process, status, limit ? WNOHANG : 0);
    if (ended != 0) break;
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, std::chrono::milliseconds(10));
  }
  state_->exit_code = exit_code_of(status);
  return state_->exit_code;
}

void ChildProcess::terminate() {
  if (state_->exit_code) return;
  kill(state_->process, SIGKILL);
  wait();
}

}  // namespace veyrin::platform
