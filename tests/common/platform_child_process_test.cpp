#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <thread>

#include "common/platform/child_process.h"
#include "tests/support/script.h"

namespace veyrin::platform {
namespace {

using namespace std::chrono_literals;
using test::file_text;
using test::write_script;

class ChildProcessTest : public ::testing::Test {
 protected:
  // A child that runs `body` as a script in the test's folder.
  std::unique_ptr<ChildProcess> start(const std::string& body, ChildInput input = ChildInput::null_device,
                                      std::vector<std::string> arguments = {}) {
    return start_request(request_for(body, input, std::move(arguments)));
  }

  ChildProcessRequest request_for(const std::string& body, ChildInput input = ChildInput::null_device,
                                  std::vector<std::string> arguments = {}) {
    ChildProcessRequest request;
    request.executable = write_script(folder_ / "child", body);
    request.arguments = std::move(arguments);
    request.working_directory = folder_.path();
    request.input = input;
    return request;
  }

  std::unique_ptr<ChildProcess> start_request(const ChildProcessRequest& request) {
    return ChildProcess::start(request, failure_);
  }

  std::string written(const std::string& name) { return file_text(folder_ / name); }

  test::TemporaryFolder folder_;
  ChildStartFailure failure_;
};

std::ptrdiff_t open_descriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return std::distance(begin(entries), end(entries));
}

TEST_F(ChildProcessTest, GivesTheExitCode) {
  for (const int code : {0, 1, 42, 255}) {
    const auto child = start("exit " + std::to_string(code));
    ASSERT_TRUE(child);
    EXPECT_EQ(child->wait(), code);
    EXPECT_EQ(child->wait(), code) << "asked again";
  }
}

TEST_F(ChildProcessTest, DeathBySignalIsNoSuccess) {
  const auto child = start("kill -TERM $$");
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 128 + SIGTERM);
}

TEST_F(ChildProcessTest, PassesArgumentsVerbatim) {
  const std::vector<std::string> arguments{"two words",      "",        "\"quoted\"",
                                           R"(back\slash\)", "$HOME *", "\xc3\xbc"};
  const auto child = start(R"(printf '<%s>\n' "$@" > arguments)", ChildInput::null_device, arguments);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("arguments"), "<two words>\n<>\n<\"quoted\">\n<back\\slash\\>\n<$HOME *>\n<\xc3\xbc>\n");
}

TEST_F(ChildProcessTest, RunsInTheWorkingDirectory) {
  const auto child = start("pwd -P > where");
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("where"), std::filesystem::canonical(folder_.path()).string() + "\n");
}

TEST_F(ChildProcessTest, RelativeExecutableIsResolvedBeforeTheWorkingDirectoryChanges) {
  ChildProcessRequest request = request_for("exit 7");
  request.executable = std::filesystem::relative(request.executable);
  request.working_directory = "/";
  const auto child = start_request(request);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 7);
}

TEST_F(ChildProcessTest, NullDevicesAreEmptyAndSilent) {
  ChildProcessRequest request = request_for(
      "streams=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2)\n"
      "echo \"$streams\" > streams\n"
      "cat");
  request.output = ChildOutput::null_device;
  const auto child = start_request(request);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("streams"), "/dev/null\n/dev/null\n/dev/null\n");
}

TEST_F(ChildProcessTest, InheritsTheOutputStreams) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const auto child = start("echo to output; echo to error >&2");
  const bool ended = child && child->wait() == 0;
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "to output\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "to error\n");
  EXPECT_TRUE(ended);
}

TEST_F(ChildProcessTest, PipeCarriesEveryByteUntilItIsClosed) {
  std::string bytes(3000000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 2654435761U >> 13U);
  const auto child = start("cat > copy", ChildInput::pipe);
  ASSERT_TRUE(child);
  EXPECT_TRUE(child->write(bytes.data(), 1000001));
  EXPECT_TRUE(child->write(bytes.data(), 0));
  EXPECT_TRUE(child->write(bytes.data() + 1000001, bytes.size() - 1000001));
  child->close_input();
  EXPECT_EQ(child->wait(), 0);
  EXPECT_TRUE(written("copy") == bytes);
  EXPECT_FALSE(child->write(bytes.data(), 1)) << "after the end of input";
}

TEST_F(ChildProcessTest, PipeHoldsOneMebibyte) {
  const auto child =
      start("/usr/bin/python3 -c 'import fcntl; print(fcntl.fcntl(0, 1032))' > size", ChildInput::pipe);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("size"), "1048576\n");
}

TEST_F(ChildProcessTest, WriteWaitsForASlowReader) {
  const auto child = start("while [ ! -e go ]; do sleep 0.01; done; wc -c > count", ChildInput::pipe);
  ASSERT_TRUE(child);
  std::atomic<bool> done{false};
  const std::string bytes(std::size_t{4} * 1048576, 'x');
  std::thread writer([&] { done = child->write(bytes.data(), bytes.size()); });
  std::this_thread::sleep_for(200ms);
  EXPECT_FALSE(done) << "four times the pipe's size cannot be written while nobody reads";
  std::ofstream(folder_ / "go").close();
  writer.join();
  EXPECT_TRUE(done);
  child->close_input();
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("count"), "4194304\n");
}

TEST_F(ChildProcessTest, WaitGivesUpAfterItsLimitAndTheChildLivesOn) {
  const auto child = start("exec sleep 100");
  ASSERT_TRUE(child);
  const auto start_time = std::chrono::steady_clock::now();
  EXPECT_EQ(child->wait(100ms), std::nullopt);
  EXPECT_GE(std::chrono::steady_clock::now() - start_time, 100ms);
  EXPECT_EQ(child->wait(0ms), std::nullopt);
  child->terminate();
  EXPECT_EQ(child->wait(), 128 + SIGKILL);
}

TEST_F(ChildProcessTest, WaitWithALimitSeesTheEnd) {
  const auto child = start("exit 3");
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(60s), 3);
}

TEST_F(ChildProcessTest, DestructionKillsAndReapsTheChild) {
  auto child = start(std::string(test::leave_pid) + "exec sleep 100", ChildInput::pipe);
  ASSERT_TRUE(child);
  const pid_t process = std::stoi(test::wait_for_file(folder_ / "pid"));
  EXPECT_TRUE(test::process_exists(process));
  child.reset();
  EXPECT_FALSE(test::process_exists(process));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD) << "no zombie is left";
}

TEST_F(ChildProcessTest, StartFailureCarriesTheSystemsNumber) {
  ChildProcessRequest missing = request_for("exit 0");
  missing.executable = folder_ / "absent";
  EXPECT_FALSE(start_request(missing));
  EXPECT_EQ(failure_.step, ChildStartFailure::Step::process);
  EXPECT_EQ(failure_.system_error, "system error " + std::to_string(ENOENT));

  ChildProcessRequest not_executable = request_for("exit 0");
  std::filesystem::permissions(not_executable.executable, std::filesystem::perms::owner_read);
  EXPECT_FALSE(start_request(not_executable));
  EXPECT_EQ(failure_.system_error, "system error " + std::to_string(EACCES));

  ChildProcessRequest no_folder = request_for("exit 0");
  no_folder.working_directory = folder_ / "absent";
  EXPECT_FALSE(start_request(no_folder));
  EXPECT_EQ(failure_.system_error, "system error " + std::to_string(ENOENT));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no zombie is left";
}

TEST_F(ChildProcessTest, NoDescriptorIsLost) {
  const ChildProcessRequest works = request_for("exit 0", ChildInput::pipe);
  ChildProcessRequest fails = works;
  fails.executable = folder_ / "absent";
  const auto before = open_descriptors();
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(start_request(works));
    EXPECT_FALSE(start_request(fails));
  }
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ChildProcessTest, OtherDescriptorsDoNotReachTheChild) {
  std::ofstream(folder_ / "secret") << "text";
  const int open_file = open((folder_ / "secret").c_str(), O_RDONLY);  // without close-on-exec
  const int high_number = fcntl(open_file, F_DUPFD, 200);
  const auto child = start("ls -l /proc/$$/fd > descriptors", ChildInput::pipe);
  ASSERT_TRUE(child);
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("descriptors").find("secret"), std::string::npos) << written("descriptors");
  EXPECT_NE(written("descriptors").find("pipe:"), std::string::npos) << "its own input is there";
  EXPECT_EQ(fcntl(open_file, F_GETFD), 0) << "the converter's own flags stay";
  close(open_file);
  close(high_number);
}

// The write end of the first pipe in the second child would keep the first child waiting for more input.
TEST_F(ChildProcessTest, TwoChildrenDoNotHoldEachOthersPipes) {
  const auto first = start("cat > /dev/null", ChildInput::pipe);
  const auto second = start("cat > /dev/null", ChildInput::pipe);
  ASSERT_TRUE(first && second);
  first->close_input();
  EXPECT_EQ(first->wait(60s), 0);
}

}  // namespace
}  // namespace veyrin::platform
