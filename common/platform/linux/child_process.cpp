#include "common/platform/child_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <mutex>
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
  int error = -1;   ///< -1: inherited
  int status = -1;  ///< gets errno when the program cannot be run
  pid_t parent = 0;
};

[[nodiscard]] bool connect_streams(const ChildPlan& plan) {
  const auto connect = [](int descriptor, int stream) {
    return descriptor < 0 || dup2(descriptor, stream) >= 0;
  };
  return connect(plan.input, STDIN_FILENO) && connect(plan.output, STDOUT_FILENO) &&
         connect(plan.error, STDERR_FILENO);
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

/// Waits for the end of a child, which stays there to be reaped.
void wait_for_end(pid_t process) {
  siginfo_t ignored{};
  while (waitid(P_PID, static_cast<id_t>(process), &ignored, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
  }
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
  Descriptor output;

  /// The exit code when the child has ended, which frees its number for other processes.
  [[nodiscard]] std::optional<int> reap();
  void kill();

 private:
  std::mutex mutex_;  ///< nobody sends a signal to the number while it may become free
  std::optional<int> exit_code_;
};

std::optional<int> ChildProcess::State::reap() {
  const std::lock_guard lock(mutex_);
  if (exit_code_) return exit_code_;
  int status = 0;
  pid_t ended = 0;
  do {
    ended = waitpid(process, &status, WNOHANG);
  } while (ended < 0 && errno == EINTR);
  if (ended != 0) exit_code_ = exit_code_of(status);
  return exit_code_;
}

void ChildProcess::State::kill() {
  const std::lock_guard lock(mutex_);
  if (!exit_code_) ::kill(process, SIGKILL);
}

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
  Pipe output;
  if (request.output == ChildOutput::pipe) {
    if (!open_pipe(output)) return failed(ChildStartFailure::Step::pipe, errno);
    enlarge_pipe(output);
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
  if (request.output == ChildOutput::null_device) plan.output = plan.error = null_device.get();
  if (request.output == ChildOutput::pipe) plan.output = output.write_end.get();
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
  state->output = std::move(output.read_end);
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

std::size_t ChildProcess::read(std::span<std::byte> into) {
  if (!state_->output.valid()) return 0;
  ssize_t count = 0;
  do {
    count = ::read(state_->output.get(), into.data(), into.size());
  } while (count < 0 && errno == EINTR);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::optional<int> ChildProcess::wait(std::optional<std::chrono::milliseconds> limit) {
  using namespace std::chrono_literals;
  const auto deadline = std::chrono::steady_clock::now() + limit.value_or(0ms);
  auto pause = 1ms;
  while (true) {
    if (const auto exit_code = state_->reap()) return exit_code;
    if (!limit) {
      wait_for_end(state_->process);
      continue;
    }
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, std::chrono::milliseconds(10));
  }
}

void ChildProcess::kill() {
  state_->kill();
}

void ChildProcess::terminate() {
  kill();
  wait();
}

}  // namespace veyrin::platform
