#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <span>
#include <thread>

#include "common/platform/child_process.h"
#include "tests/common/child_process_fixture.h"

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;

TEST_F(ChildProcessTest, GivesTheExitCode) {
  for (const int code : {0, 1, 42, 255}) {
    const auto child = start({"exit", std::to_string(code)});
    ASSERT_TRUE(child) << failure_.system_error;
    EXPECT_EQ(child->wait(), code);
    EXPECT_EQ(child->wait(), code) << "asked again";
  }
}

TEST_F(ChildProcessTest, PassesArgumentsVerbatim) {
  const std::vector<std::string> words{"two words", "\"quoted\"", R"(back\slash\)", R"(a b\)",   "$HOME *",
                                       "%PATH% *",  R"(\\"x\\)",  "\xc3\xbc",       unicode_name};
  std::vector<std::string> arguments{"arguments", "answer"};
  std::string expected;
  for (const auto& word : words) {
    arguments.push_back(word);
    expected += "<" + word + ">\n";
  }
  const auto child = start(arguments);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("answer"), expected);
}

TEST_F(ChildProcessTest, RunsInTheWorkingDirectory) {
  const auto child = start({"folder", "answer"});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_TRUE(std::filesystem::equivalent(platform::path_from_utf8(written("answer")), home_))
      << written("answer");
}

TEST_F(ChildProcessTest, RelativeExecutableIsResolvedBeforeTheWorkingDirectoryChanges) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  platform::ChildProcessRequest request = request_for({"exit", "7"});
  request.executable = platform::path_from_utf8(unicode_name) / program_.filename();
  request.working_directory = before.root_path();
  const auto child = start_request(request);
  std::filesystem::current_path(before);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 7);
}

TEST_F(ChildProcessTest, NullDevicesAreEmptyAndSilent) {
  platform::ChildProcessRequest request = request_for({"streams", "answer"});
  request.output = platform::ChildOutput::null_device;
  const auto child = start_request(request);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("answer"), "null\nnull\nnull\nempty\n");
}

TEST_F(ChildProcessTest, PipeCarriesEveryByteUntilItIsClosed) {
  std::string bytes(3000000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 2654435761U >> 13U);
  const auto child = start({"copy", "copy"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_TRUE(child->write(bytes.data(), 1000001));
  EXPECT_TRUE(child->write(bytes.data(), 0));
  const auto rest = std::as_bytes(std::span(bytes)).subspan(1000001);
  const std::array pieces{rest.first(1500000), rest.first(0), rest.subspan(1500000)};
  EXPECT_TRUE(child->write(pieces));
  child->close_input();
  EXPECT_EQ(child->wait(), 0);
  EXPECT_TRUE(written("copy") == bytes);
  EXPECT_FALSE(child->write(bytes.data(), 1)) << "after the end of input";
}

TEST_F(ChildProcessTest, PipeTakesOneMebibyteThatNobodyReads) {
  const auto child = start({"stay"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  const std::string bytes(1048576, 'x');
  EXPECT_TRUE(child->write(bytes.data(), bytes.size()));
}

TEST_F(ChildProcessTest, WriteWaitsForASlowReader) {
  const auto child = start({"copy late", "copy", "go"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  std::atomic<bool> done{false};
  const std::string bytes(std::size_t{4} * 1048576, 'x');
  std::thread writer([&] { done = child->write(bytes.data(), bytes.size()); });
  std::this_thread::sleep_for(200ms);
  EXPECT_FALSE(done) << "four times the pipe's size cannot be written while nobody reads";
  std::ofstream(home_ / "go").close();
  writer.join();
  EXPECT_TRUE(done);
  child->close_input();
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("copy").size(), bytes.size());
}

TEST_F(ChildProcessTest, WriteToADeadChildIsAnError) {
  const auto child = start({"exit", "0"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  child->wait();
  EXPECT_FALSE(child->write("text", 4));
  EXPECT_FALSE(child->write("text", 4));
}

TEST_F(ChildProcessTest, AWriteThatWaitsFailsWhenTheChildDies) {
  const auto child = start({"exit late"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  const std::string bytes(std::size_t{4} * 1048576, 'x');
  EXPECT_FALSE(child->write(bytes.data(), bytes.size()));
}

TEST_F(ChildProcessTest, WaitGivesUpAfterItsLimitAndTheChildLivesOn) {
  const auto child = start({"stay"});
  ASSERT_TRUE(child) << failure_.system_error;
  const auto start_time = std::chrono::steady_clock::now();
  EXPECT_EQ(child->wait(100ms), std::nullopt);
  EXPECT_GE(std::chrono::steady_clock::now() - start_time, 100ms - clock_step);
  EXPECT_EQ(child->wait(0ms), std::nullopt);
  child->terminate();
  EXPECT_EQ(child->wait(), exit_code_of_terminated_child);
}

TEST_F(ChildProcessTest, WaitWithALimitSeesTheEnd) {
  const auto child = start({"exit", "3"});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(60s), 3);
}

TEST_F(ChildProcessTest, TerminationAfterTheEndKeepsTheExitCode) {
  const auto child = start({"exit", "5"});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(60s), 5);
  child->terminate();
  EXPECT_EQ(child->wait(), 5);
}

TEST_F(ChildProcessTest, StartFailureCarriesTheSystemsNumber) {
  const StartErrors errors = start_errors();
  platform::ChildProcessRequest missing = request_for({"exit", "0"});
  missing.executable = home_ / platform::executable_file_name("absent");
  EXPECT_FALSE(start_request(missing));
  EXPECT_EQ(failure_.step, platform::ChildStartFailure::Step::process);
  EXPECT_EQ(failure_.system_error, errors.missing_program);

  platform::ChildProcessRequest no_program = request_for({"exit", "0"});
  no_program.executable = home_ / platform::executable_file_name("text");
  std::ofstream(no_program.executable) << "This is no program, whatever its name says.";
  EXPECT_FALSE(start_request(no_program));
  EXPECT_EQ(failure_.system_error, errors.no_program);

  platform::ChildProcessRequest no_folder = request_for({"exit", "0"});
  no_folder.working_directory = home_ / "absent";
  EXPECT_FALSE(start_request(no_folder));
  EXPECT_EQ(failure_.system_error, errors.missing_folder);
}

TEST_F(ChildProcessTest, NoHandleIsLost) {
  const platform::ChildProcessRequest works = request_for({"exit", "0"}, platform::ChildInput::pipe);
  platform::ChildProcessRequest fails = works;
  fails.executable = home_ / platform::executable_file_name("absent");
  EXPECT_TRUE(start_request(works)) << "the first one may leave something behind in the system's libraries";
  const auto before = open_handles();
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(start_request(works));
    EXPECT_FALSE(start_request(fails));
  }
  EXPECT_EQ(open_handles(), before);
}

// The write end of the first pipe in the second child would keep the first child waiting for more input.
TEST_F(ChildProcessTest, TwoChildrenDoNotHoldEachOthersPipes) {
  const auto first = start({"copy", "first"}, platform::ChildInput::pipe);
  const auto second = start({"copy", "second"}, platform::ChildInput::pipe);
  ASSERT_TRUE(first && second);
  first->close_input();
  EXPECT_EQ(first->wait(60s), 0);
}

}  // namespace
}  // namespace veyrin::test
