#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>

#include "common/platform/child_process.h"
#include "tests/common/child_process_fixture.h"
#include "tests/support/awaited_file.h"
#include "tests/support/script.h"

namespace veyrin::test {
namespace {

class ChildProcessSignals : public ChildProcessTest {
 protected:
  // Runs `work` in a process of its own and gives its exit status as waitpid reports it.
  template <typename Work>
  static int status_of_process(const Work& work) {
    const pid_t process = fork();
    if (process == 0) _exit(work() ? 0 : 1);
    int status = -1;
    waitpid(process, &status, 0);
    return status;
  }
};

bool broken_pipe_is_pending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

bool broken_pipe_is_blocked() {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  return sigismember(&blocked, SIGPIPE) == 1;
}

TEST_F(ChildProcessSignals, WriteToADeadChildIsAnErrorAndLeavesSignalsAsTheyWere) {
  struct sigaction before {};
  sigaction(SIGPIPE, nullptr, &before);
  ASSERT_EQ(before.sa_handler, SIG_DFL) << "the signal would end this program";
  const auto child = start({"exit", "0"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child);
  child->wait();
  EXPECT_FALSE(child->write("text", 4));
  EXPECT_FALSE(child->write("text", 4));
  struct sigaction after {};
  sigaction(SIGPIPE, nullptr, &after);
  EXPECT_EQ(after.sa_handler, SIG_DFL);
  EXPECT_FALSE(broken_pipe_is_pending());
  EXPECT_FALSE(broken_pipe_is_blocked());
}

TEST_F(ChildProcessSignals, ASignalThatWasPendingBeforeStaysPending) {
  sigset_t broken_pipe;
  sigset_t previous;
  sigemptyset(&broken_pipe);
  sigaddset(&broken_pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &broken_pipe, &previous);
  raise(SIGPIPE);
  const auto child = start({"exit", "0"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child);
  child->wait();
  EXPECT_FALSE(child->write("text", 4));
  EXPECT_TRUE(broken_pipe_is_pending());
  EXPECT_TRUE(broken_pipe_is_blocked());
  const timespec at_once{};
  sigtimedwait(&broken_pipe, nullptr, &at_once);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

TEST_F(ChildProcessSignals, ExitCodesArriveAlthoughChildrenWereIgnored) {
  EXPECT_EQ(status_of_process([this] {
              signal(SIGCHLD, SIG_IGN);
              const auto child = start({"exit", "9"}, platform::ChildInput::pipe);
              return child && child->wait() == 9;
            }),
            0);
}

TEST_F(ChildProcessSignals, WorksWithoutStandardStreams) {
  EXPECT_EQ(status_of_process([this] {
              for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(stream);
              const auto child = start({"copy", "copy"}, platform::ChildInput::pipe);
              if (!child || !child->write("text", 4)) return false;
              child->close_input();
              return child->wait() == 0;
            }),
            0);
  EXPECT_EQ(written("copy"), "text");
}

// Each of their numbers may then be that of a pipe.
TEST_F(ChildProcessSignals, OutputArrivesWithoutStandardStreams) {
  for (unsigned int closed = 0; closed < 8; ++closed) {
    EXPECT_EQ(status_of_process([this, closed] {
                for (int stream = 0; stream < 3; ++stream) {
                  if ((closed >> stream & 1U) != 0) close(stream);
                }
                const auto deaf = start_with_output({"print bytes", "3"});
                const auto child = start_with_output({"echo", "0"}, platform::ChildInput::pipe);
                if (!deaf || read_all(*deaf) != "xxx") return false;
                if (!child || !child->write("text", 4)) return false;
                child->close_input();
                return read_all(*child) == "text" && child->wait() == 0;
              }),
              0)
        << closed;
  }
}

TEST_F(ChildProcessSignals, ASignalEndsNeitherAReadNorAWait) {
  struct sigaction previous {};
  struct sigaction action {};
  action.sa_handler = [](int) {};  // without SA_RESTART
  sigaction(SIGUSR1, &action, &previous);
  const auto child = start_with_output({"echo", "4"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child);
  std::string answer;
  std::optional<int> code;
  std::thread reader([&] { answer = read_all(*child); });
  std::thread waiter([&] { code = child->wait(); });
  for (int i = 0; i < 20; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    pthread_kill(reader.native_handle(), SIGUSR1);
    pthread_kill(waiter.native_handle(), SIGUSR1);
  }
  EXPECT_TRUE(child->write("text", 4));
  child->close_input();
  reader.join();
  waiter.join();
  sigaction(SIGUSR1, &previous, nullptr);
  EXPECT_EQ(answer, "text");
  EXPECT_EQ(code, 4);
}

// This program adopts the orphan, so that the way it ended can be seen.
TEST_F(ChildProcessSignals, ChildDiesWithAKilledConverter) {
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  const pid_t converter = fork();
  if (converter == 0) {
    const auto child = start({"number", "answer"}, platform::ChildInput::pipe);
    pause();
    _exit(0);
  }
  const pid_t orphan = std::stoi(wait_for_text(home_ / "answer"));
  kill(converter, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(converter, &status, 0), converter);
  ASSERT_EQ(waitpid(orphan, &status, 0), orphan);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}

}  // namespace
}  // namespace veyrin::test
