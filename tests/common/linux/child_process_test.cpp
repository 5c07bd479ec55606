#include "common/platform/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>

#include "tests/common/child_process_fixture.h"
#include "tests/common/linux/script_child.h"
#include "tests/support/awaited_file.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

bool no_child_is_left() {
  return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
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
