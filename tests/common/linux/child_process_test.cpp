#include "common/platform/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "tests/common/child_process_fixture.h"
#include "tests/common/linux/script_child.h"
#include "tests/support/awaited_file.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

bool no_child_is_left() {
  return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

/// A process with a number of our choice that stays until it is killed; -1 without the rights or the number.
pid_t fork_with_number(pid_t number) {
  clone_args arguments{};
  arguments.exit_signal = SIGCHLD;
  arguments.set_tid = reinterpret_cast<std::uintptr_t>(&number);
  arguments.set_tid_size = 1;
  const auto process = static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof arguments));
  if (process != 0) return process;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  while (true) pause();
}

/// The numbers of this process's descriptors that a program it starts would get.
std::set<int> inheritable_descriptors() {
  std::set<int> numbers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int number = std::stoi(entry.path().filename());
    const int flags = fcntl(number, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) numbers.insert(number);
  }
  return numbers;
}

TEST_F(ScriptChildTest, DeathBySignalIsNoSuccess) {
  const auto child = start_script("kill -TERM $$");
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 128 + SIGTERM);
}

// A Windows command line has no place for them.
TEST_F(ChildProcessTest, PassesEmptyArguments) {
  const auto child = start({"arguments", "answer", "", "between", ""});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("answer"), "<>\n<between>\n<>\n");
}

TEST_F(ChildProcessTest, InheritsTheOutputStreams) {
  capture_output();
  capture_errors();
  const auto child = start({"print"});
  const bool ended = child && child->wait() == 0;
  EXPECT_EQ(captured_output(), "to output\n");
  EXPECT_EQ(captured_errors(), "to error\n");
  EXPECT_TRUE(ended);
}

TEST_F(ChildProcessTest, AnOutputPipeLeavesTheErrorsInherited) {
  capture_output();
  capture_errors();
  const auto child = start_with_output({"print"});
  const std::string read = child ? read_all(*child) : "";
  const bool ended = child && child->wait() == 0;
  EXPECT_EQ(captured_output(), "");
  EXPECT_EQ(captured_errors(), "to error\n");
  EXPECT_EQ(read, "to output\n");
  EXPECT_TRUE(ended);
}

// Children that others start do not close what they inherit.
TEST_F(ChildProcessTest, OurEndsOfItsPipesReachNoProgram) {
  const auto before = inheritable_descriptors();
  const auto child = start_with_output({"stay"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child);
  EXPECT_EQ(inheritable_descriptors(), before);
}

TEST_F(ScriptChildTest, AGrandchildThatKeepsTheOutputOpenHoldsNothingUpButItsEnd) {
  platform::ChildProcessRequest request = request_for({});
  request.executable = write_script(home_ / "script", "sleep 1000 & echo $!");
  request.output = platform::ChildOutput::pipe;
  auto child = start_request(request);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 0);
  std::string line(100, '\0');
  line.resize(child->read(std::as_writable_bytes(std::span(line))));
  const pid_t grandchild = std::stoi(line);
  EXPECT_TRUE(process_exists(grandchild));
  child->kill();
  child.reset();
  EXPECT_TRUE(process_exists(grandchild)) << "it was there until now";
  kill(grandchild, SIGKILL);
}

TEST_F(ChildProcessTest, KillSparesAnotherProcessThatGotTheNumber) {
  const auto child = start({"number", "answer"});
  ASSERT_TRUE(child);
  const pid_t number = std::stoi(wait_for_text(home_ / "answer"));
  child->terminate();
  const pid_t other = fork_with_number(number);
  if (other < 0) GTEST_SKIP() << "no process can be given a number here";
  child->kill();
  child->terminate();
  kill(other, SIGTERM);
  int status = 0;
  EXPECT_EQ(waitpid(other, &status, 0), number);
  EXPECT_EQ(WTERMSIG(status), SIGTERM) << "an earlier signal ended it";
}

TEST_F(ScriptChildTest, PipeHoldsOneMebibyte) {
  const auto child = start_script("/usr/bin/python3 -c 'import fcntl; print(fcntl.fcntl(0, 1032))' > size",
                                  platform::ChildInput::pipe);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("size"), "1048576\n");
}

TEST_F(ChildProcessTest, DestructionKillsAndReapsTheChild) {
  auto child = start({"number", "answer"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child);
  const pid_t process = std::stoi(wait_for_text(home_ / "answer"));
  EXPECT_TRUE(process_exists(process));
  child.reset();
  EXPECT_FALSE(process_exists(process));
  EXPECT_TRUE(no_child_is_left());
}

TEST_F(ChildProcessTest, AFailedStartLeavesNoProcess) {
  platform::ChildProcessRequest request = request_for({"exit", "0"});
  request.working_directory = home_ / "absent";
  EXPECT_FALSE(start_request(request));
  request.executable = home_ / "absent";
  EXPECT_FALSE(start_request(request));
  EXPECT_TRUE(no_child_is_left());
}

TEST_F(ScriptChildTest, OtherDescriptorsDoNotReachTheChild) {
  std::ofstream(home_ / "secret") << "text";
  const int open_file = open((home_ / "secret").c_str(), O_RDONLY);  // without close-on-exec
  const int high_number = fcntl(open_file, F_DUPFD, 200);
  const auto child = start_script("ls -l /proc/$$/fd > descriptors", platform::ChildInput::pipe);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("descriptors").find("secret"), std::string::npos) << written("descriptors");
  EXPECT_NE(written("descriptors").find("pipe:"), std::string::npos) << "its own input is there";
  EXPECT_EQ(fcntl(open_file, F_GETFD), 0) << "the converter's own flags stay";
  close(open_file);
  close(high_number);
}

}  // namespace
}  // namespace veyrin::test
