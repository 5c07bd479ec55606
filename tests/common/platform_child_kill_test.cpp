#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "common/platform/child_process.h"
#include "tests/common/child_process_fixture.h"

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;
using platform::ChildInput;

class ChildKill : public ChildProcessTest {
 protected:
  /// From a thread of its own, when the caller has had the time to get into a call that waits for the child.
  static std::thread kill_later(platform::ChildProcess& child) {
    return std::thread([&child] {
      std::this_thread::sleep_for(100ms);
      child.kill();
    });
  }
};

TEST_F(ChildKill, EndsAWriteThatWaits) {
  const auto child = start({"stay"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  std::thread killer = kill_later(*child);
  const std::string bytes(std::size_t{4} * 1048576, 'x');
  EXPECT_FALSE(child->write(bytes.data(), bytes.size()));
  killer.join();
  EXPECT_EQ(child->wait(), exit_code_of_terminated_child);
}

TEST_F(ChildKill, EndsAReadThatWaits) {
  const auto child = start_with_output({"stay"});
  ASSERT_TRUE(child) << failure_.system_error;
  std::thread killer = kill_later(*child);
  EXPECT_EQ(read_all(*child), "");
  killer.join();
  EXPECT_EQ(child->wait(), exit_code_of_terminated_child);
}

TEST_F(ChildKill, EndsAWaitThatWaits) {
  for (const auto limit :
       {std::optional<std::chrono::milliseconds>{}, std::optional<std::chrono::milliseconds>{60s}}) {
    const auto child = start({"stay"});
    ASSERT_TRUE(child) << failure_.system_error;
    std::thread killer = kill_later(*child);
    EXPECT_EQ(child->wait(limit), exit_code_of_terminated_child);
    killer.join();
  }
}

// The child waits for a reader, which has given up, and we wait for the child.
TEST_F(ChildKill, EndsAWriteToAChildWhoseOutputNobodyTakes) {
  const auto child = start_with_output({"echo", "0"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  std::thread killer = kill_later(*child);
  const std::string bytes(std::size_t{8} * 1048576, 'x');
  EXPECT_FALSE(child->write(bytes.data(), bytes.size()));
  killer.join();
  EXPECT_EQ(child->wait(), exit_code_of_terminated_child);
}

TEST_F(ChildKill, LeavesWhatTheChildHadWritten) {
  const auto child = start_with_output({"print in parts", "never"});
  ASSERT_TRUE(child) << failure_.system_error;
  std::byte first{};
  ASSERT_EQ(child->read({&first, 1}), 1U);
  child->kill();
  EXPECT_EQ(child->wait(), exit_code_of_terminated_child);
  EXPECT_EQ(read_all(*child), "ne");
}

TEST_F(ChildKill, EndsWriterAndReaderAtOnce) {
  const auto child = start_with_output({"stay"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  std::thread killer = kill_later(*child);
  std::string answer;
  std::thread reader([&] { answer = read_all(*child); });
  const std::string bytes(std::size_t{4} * 1048576, 'x');
  EXPECT_FALSE(child->write(bytes.data(), bytes.size()));
  child->close_input();
  EXPECT_EQ(child->wait(), exit_code_of_terminated_child);
  reader.join();
  killer.join();
  EXPECT_EQ(answer, "");
}

TEST_F(ChildKill, ChangesNothingAfterTheEnd) {
  const auto child = start_with_output({"echo", "5"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_TRUE(child->write("text", 4));
  child->close_input();
  EXPECT_EQ(child->wait(60s), 5);
  child->kill();
  child->kill();
  EXPECT_EQ(child->wait(), 5);
  EXPECT_EQ(read_all(*child), "text");
}

TEST_F(ChildKill, MayMeetTheEndOfTheChild) {
  for (int i = 0; i < 10; ++i) {
    const auto child = start({"exit", "3"});
    ASSERT_TRUE(child) << failure_.system_error;
    std::atomic<bool> ended{false};
    std::thread killer([&] {
      std::this_thread::sleep_for(i * 1ms);
      while (!ended) {
        child->kill();
        std::this_thread::yield();
      }
    });
    const auto code = child->wait();
    ended = true;
    killer.join();
    EXPECT_TRUE(code == 3 || code == exit_code_of_terminated_child) << code.value_or(-1);
    EXPECT_EQ(child->wait(), code);
  }
}

}  // namespace
}  // namespace veyrin::test
