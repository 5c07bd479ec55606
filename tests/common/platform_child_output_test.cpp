#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <span>
#include <string>
#include <thread>

#include "common/platform/child_process.h"
#include "tests/common/child_process_fixture.h"

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;
using platform::ChildInput;

class ChildOutput : public ChildProcessTest {
 protected:
  /// The bytes of one call that has room for `size`.
  static std::string read_some(platform::ChildProcess& child, std::size_t size) {
    std::string text(size, '\0');
    text.resize(child.read(std::as_writable_bytes(std::span(text))));
    return text;
  }
};

TEST_F(ChildOutput, CarriesEveryByteWhileTheInputIsWritten) {
  std::string bytes(6000000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 2654435761U >> 13U);
  const auto child = start_with_output({"echo", "7"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  std::string answer;
  std::thread reader([&] { answer = read_all(*child); });
  EXPECT_TRUE(child->write(bytes.data(), 2500001));
  EXPECT_TRUE(child->write(bytes.data() + 2500001, bytes.size() - 2500001));
  child->close_input();
  reader.join();
  EXPECT_EQ(answer.size(), bytes.size());
  EXPECT_TRUE(answer == bytes);
  EXPECT_EQ(child->wait(), 7);
}

// The child also makes a write of no bytes after the first part, which some systems hand to the reader.
TEST_F(ChildOutput, AReadGivesWhatIsThereAndWaitsWhenThereIsNothing) {
  const auto child = start_with_output({"print in parts", "go"});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(read_some(*child, 1), "o");
  EXPECT_EQ(read_some(*child, 100), "ne");
  std::atomic<bool> done{false};
  std::string rest;
  std::thread reader([&] {
    rest = read_some(*child, 100);
    done = true;
  });
  std::this_thread::sleep_for(200ms);
  EXPECT_FALSE(done) << "nothing was written yet";
  std::ofstream(home_ / "go").close();
  reader.join();
  EXPECT_EQ(rest, "two");
  EXPECT_EQ(read_some(*child, 100), "");
  EXPECT_EQ(child->wait(), 0);
}

TEST_F(ChildOutput, EndsBeforeAChildThatGoesOnWithoutIt) {
  const auto child = start_with_output({"close output", "copy"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(read_all(*child), "last words");
  EXPECT_EQ(child->wait(100ms), std::nullopt);
  EXPECT_TRUE(child->write("text", 4));
  child->close_input();
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("copy"), "text");
  EXPECT_EQ(read_some(*child, 100), "") << "asked again";
}

TEST_F(ChildOutput, OneMebibyteOutlivesTheChildUnread) {
  const auto child = start_with_output({"print bytes", "1048576"});
  ASSERT_TRUE(child) << failure_.system_error;
  ASSERT_EQ(child->wait(60s), 0);
  EXPECT_TRUE(read_all(*child) == std::string(1048576, 'x'));
}

TEST_F(ChildOutput, DestructionDoesNotWaitForAFullPipe) {
  auto child = start_with_output({"print bytes", "4194304"});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(read_some(*child, 1), "x");
  EXPECT_EQ(child->wait(100ms), std::nullopt) << "nobody takes its output";
  child.reset();
}

TEST_F(ChildOutput, NothingIsReadWithoutAPipe) {
  for (const auto output : {platform::ChildOutput::inherited, platform::ChildOutput::null_device}) {
    platform::ChildProcessRequest request = request_for({"stay"});
    request.output = output;
    const auto child = start_request(request);
    ASSERT_TRUE(child) << failure_.system_error;
    EXPECT_EQ(read_some(*child, 100), "");
  }
}

TEST_F(ChildOutput, NoRoomTakesNothing) {
  const auto child = start_with_output({"print bytes", "3"});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(read_some(*child, 0), "");
  EXPECT_EQ(read_all(*child), "xxx");
}

// The write end of the first pipe in the second child would keep the first output from ending.
TEST_F(ChildOutput, EndsWhileALaterChildRuns) {
  const auto first = start_with_output({"echo", "0"}, ChildInput::pipe);
  const auto second = start_with_output({"stay"}, ChildInput::pipe);
  ASSERT_TRUE(first && second) << failure_.system_error;
  EXPECT_TRUE(first->write("text", 4));
  first->close_input();
  EXPECT_EQ(read_all(*first), "text");
}

TEST_F(ChildOutput, NoHandleIsLost) {
  const auto use_and_lose_some = [this] {
    const auto read = start_with_output({"print bytes", "3"}, ChildInput::pipe);
    const auto unread = start_with_output({"print bytes", "3"});
    const auto killed = start_with_output({"stay"}, ChildInput::pipe);
    ASSERT_TRUE(read && unread && killed) << failure_.system_error;
    EXPECT_EQ(read_all(*read), "xxx");
    EXPECT_EQ(unread->wait(), 0);
    killed->kill();
    platform::ChildProcessRequest fails = request_for({});
    fails.executable = home_ / platform::executable_file_name("absent");
    fails.output = platform::ChildOutput::pipe;
    EXPECT_FALSE(start_request(fails));
  };
  use_and_lose_some();  // the first time may leave something behind in the system's libraries
  const auto before = open_handles();
  for (int i = 0; i < 3; ++i) use_and_lose_some();
  EXPECT_EQ(open_handles(), before);
}

}  // namespace
}  // namespace veyrin::test
