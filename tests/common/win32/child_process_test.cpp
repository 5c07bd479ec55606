#include "common/platform/child_process.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "common/platform/module_path.h"
#include "common/platform/path_text.h"
#include "common/platform/win32/handle.h"
#include "tests/support/awaited_file.h"

namespace veyrin::platform {
namespace {

using namespace std::chrono_literals;
using test::file_text;

using Words = std::vector<std::string>;

/// Name of a folder with blanks, letters outside of every code page's common part, and one outside the basic
/// plane.
constexpr const char* unicode_name =
    "my videos \xc3\xa9\xe2\x82\xac \xe8\xa7\x86\xe9\xa2\x91 \xf0\x9f\x8e\xa5";

/// Each test's child is a copy of the helper program in a folder with such a name.
class ChildProcessTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(home_);
    std::filesystem::copy_file(module_path().parent_path() / "child_for_tests.exe", program_);
  }

  ChildProcessRequest request_for(Words arguments, ChildInput input = ChildInput::null_device) {
    ChildProcessRequest request;
    request.executable = program_;
    request.arguments = std::move(arguments);
    request.working_directory = home_;
    request.input = input;
    return request;
  }

  std::unique_ptr<ChildProcess> start_request(const ChildProcessRequest& request) {
    return ChildProcess::start(request, failure_);
  }

  std::unique_ptr<ChildProcess> start(Words arguments, ChildInput input = ChildInput::null_device) {
    return start_request(request_for(std::move(arguments), input));
  }

  [[nodiscard]] std::string written(const std::string& name) const {
    return file_text(home_ / path_from_utf8(name));
  }

  [[nodiscard]] std::string wait_for(const std::string& name) const {
    return test::wait_for_text(home_ / name);
  }

  test::TemporaryFolder folder_;
  std::filesystem::path home_ = folder_ / unicode_name;
  std::filesystem::path program_ = home_ / "the child.exe";
  ChildStartFailure failure_;
};

/// Null when there is no such process any more.
Handle open_process(const std::string& number) {
  return Handle(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE, FALSE,
                            static_cast<DWORD>(std::stoul(number))));
}

bool ends_within(const Handle& process, DWORD milliseconds) {
  return WaitForSingleObject(process.get(), milliseconds) == WAIT_OBJECT_0;
}

DWORD open_handles() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

TEST_F(ChildProcessTest, GivesTheExitCode) {
  for (const int code : {0, 1, 42, 255}) {
    const auto child = start({"exit", std::to_string(code)});
    ASSERT_TRUE(child) << failure_.system_error;
    EXPECT_EQ(child->wait(), code);
    EXPECT_EQ(child->wait(), code) << "asked again";
  }
}

TEST_F(ChildProcessTest, PassesArgumentsVerbatim) {
  const auto child = start({"arguments", "answer", "two words", "\"quoted\"", R"(back\slash\)", R"(a b\)",
                            "%PATH% *", R"(\\"x\\)", unicode_name});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("answer"),
            std::string("<two words>\n<\"quoted\">\n<back\\slash\\>\n<a b\\>\n<%PATH% *>\n") + R"(<\\"x\\>)" +
                "\n<" + unicode_name + ">\n");
}

TEST_F(ChildProcessTest, RunsInTheWorkingDirectory) {
  const auto child = start({"folder", "answer"});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_TRUE(std::filesystem::equivalent(path_from_utf8(written("answer")), home_)) << written("answer");
}

TEST_F(ChildProcessTest, RelativeExecutableIsResolvedBeforeTheWorkingDirectoryChanges) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  ChildProcessRequest request = request_for({"exit", "7"});
  request.executable = path_from_utf8(unicode_name) / "the child.exe";
  request.working_directory = before.root_path();
  const auto child = start_request(request);
  std::filesystem::current_path(before);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 7);
}

TEST_F(ChildProcessTest, NullDevicesAreEmptyAndSilent) {
  ChildProcessRequest request = request_for({"streams", "answer"});
  request.output = ChildOutput::null_device;
  const auto child = start_request(request);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("answer"), "null\nnull\nnull\nempty\n");
}

/// A file in the place of one of this process's standard streams as long as it lives.
class StreamIntoFile {
 public:
  StreamIntoFile(DWORD number, const std::filesystem::path& file)
      : number_(number),
        previous_(GetStdHandle(number)),
        file_(CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr)) {
    SetStdHandle(number_, file_.get());
  }
  ~StreamIntoFile() { SetStdHandle(number_, previous_); }
  StreamIntoFile(const StreamIntoFile&) = delete;
  StreamIntoFile& operator=(const StreamIntoFile&) = delete;

 private:
  DWORD number_;
  HANDLE previous_;
  Handle file_;  ///< not inheritable, as the streams of some parents are not
};

TEST_F(ChildProcessTest, InheritsTheOutputStreams) {
  {
    const StreamIntoFile output(STD_OUTPUT_HANDLE, home_ / "output");
    const StreamIntoFile errors(STD_ERROR_HANDLE, home_ / "errors");
    const auto child = start({"print"});
    ASSERT_TRUE(child) << failure_.system_error;
    EXPECT_EQ(child->wait(), 0);
  }
  EXPECT_EQ(written("output"), "to output\r\n");
  EXPECT_EQ(written("errors"), "to error\r\n");
}

TEST_F(ChildProcessTest, WorksWithoutStandardStreams) {
  const DWORD numbers[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  for (const HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    HANDLE previous[3];
    for (int i = 0; i < 3; ++i) {
      previous[i] = GetStdHandle(numbers[i]);
      SetStdHandle(numbers[i], none);
    }
    const auto child = start({"streams", "answer"});
    for (int i = 0; i < 3; ++i) SetStdHandle(numbers[i], previous[i]);
    ASSERT_TRUE(child) << failure_.system_error;
    EXPECT_EQ(child->wait(), 0);
    EXPECT_EQ(written("answer"), "null\nnull\nnull\nempty\n");
    std::filesystem::remove(home_ / "answer");
  }
}

TEST_F(ChildProcessTest, PipeCarriesEveryByteUntilItIsClosed) {
  std::string bytes(3000000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 2654435761U >> 13U);
  const auto child = start({"copy", "copy"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_TRUE(child->write(bytes.data(), 1000001));
  EXPECT_TRUE(child->write(bytes.data(), 0));
  EXPECT_TRUE(child->write(bytes.data() + 1000001, bytes.size() - 1000001));
  child->close_input();
  EXPECT_EQ(child->wait(), 0);
  EXPECT_TRUE(written("copy") == bytes);
  EXPECT_FALSE(child->write(bytes.data(), 1)) << "after the end of input";
}

TEST_F(ChildProcessTest, PipeTakesOneMebibyteThatNobodyReads) {
  const auto child = start({"stay"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  const std::string bytes(1048576, 'x');
  EXPECT_TRUE(child->write(bytes.data(), bytes.size()));
}

TEST_F(ChildProcessTest, WriteWaitsForASlowReader) {
  const auto child = start({"copy late", "copy", "go"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  std::atomic<bool> done{false};
  const std::string bytes(4 * 1048576, 'x');
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
  const auto child = start({"exit", "0"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  child->wait();
  EXPECT_FALSE(child->write("text", 4));
  EXPECT_FALSE(child->write("text", 4));
}

TEST_F(ChildProcessTest, AWriteThatWaitsFailsWhenTheChildDies) {
  const auto child = start({"exit late"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  const std::string bytes(4 * 1048576, 'x');
  EXPECT_FALSE(child->write(bytes.data(), bytes.size()));
}

TEST_F(ChildProcessTest, WaitGivesUpAfterItsLimitAndTheChildLivesOn) {
  const auto child = start({"stay"});
  ASSERT_TRUE(child) << failure_.system_error;
  const auto start_time = std::chrono::steady_clock::now();
  EXPECT_EQ(child->wait(100ms), std::nullopt);
  EXPECT_GE(std::chrono::steady_clock::now() - start_time, 95ms);
  EXPECT_EQ(child->wait(0ms), std::nullopt);
  child->terminate();
  EXPECT_EQ(child->wait(), 1);
}

TEST_F(ChildProcessTest, TerminationAfterTheEndKeepsTheExitCode) {
  const auto child = start({"exit", "5"});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(60s), 5);
  child->terminate();
  EXPECT_EQ(child->wait(), 5);
}

TEST_F(ChildProcessTest, DestructionEndsTheChild) {
  auto child = start({"number", "answer"}, ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  const Handle process = open_process(wait_for("answer"));
  ASSERT_TRUE(process.valid());
  EXPECT_FALSE(ends_within(process, 0));
  child.reset();
  ASSERT_TRUE(ends_within(process, 0));
  DWORD code = 0;
  GetExitCodeProcess(process.get(), &code);
  EXPECT_EQ(code, 1U);
}

// The helper plays the converter here and is killed; its own child must go with it.
TEST_F(ChildProcessTest, ChildDiesWithAKilledConverter) {
  const auto converter = start({"start a child", "answer"});
  ASSERT_TRUE(converter) << failure_.system_error;
  const Handle orphan = open_process(wait_for("answer"));
  ASSERT_TRUE(orphan.valid());
  EXPECT_FALSE(ends_within(orphan, 0));
  converter->terminate();
  EXPECT_TRUE(ends_within(orphan, 10000));
}

TEST_F(ChildProcessTest, StartFailureCarriesTheSystemsNumber) {
  ChildProcessRequest missing = request_for({"exit", "0"});
  missing.executable = home_ / "absent.exe";
  EXPECT_FALSE(start_request(missing));
  EXPECT_EQ(failure_.step, ChildStartFailure::Step::process);
  EXPECT_EQ(failure_.system_error, "Windows error " + std::to_string(ERROR_FILE_NOT_FOUND));

  ChildProcessRequest no_program = request_for({"exit", "0"});
  no_program.executable = home_ / "text.exe";
  std::ofstream(no_program.executable) << "This is no program, whatever its name says.";
  EXPECT_FALSE(start_request(no_program));
  EXPECT_EQ(failure_.system_error, "Windows error " + std::to_string(ERROR_BAD_EXE_FORMAT));

  ChildProcessRequest no_folder = request_for({"exit", "0"});
  no_folder.working_directory = home_ / "absent";
  EXPECT_FALSE(start_request(no_folder));
  EXPECT_EQ(failure_.system_error, "Windows error " + std::to_string(ERROR_DIRECTORY));
}

TEST_F(ChildProcessTest, NoHandleIsLost) {
  const ChildProcessRequest works = request_for({"exit", "0"}, ChildInput::pipe);
  ChildProcessRequest fails = works;
  fails.executable = home_ / "absent.exe";
  EXPECT_TRUE(start_request(works)) << "the first one may leave something behind in the system's libraries";
  const DWORD before = open_handles();
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(start_request(works));
    EXPECT_FALSE(start_request(fails));
  }
  EXPECT_EQ(open_handles(), before);
}

TEST_F(ChildProcessTest, OtherInheritableHandlesDoNotReachTheChild) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const Handle secret(
      CreateFileW((home_ / "secret").c_str(), GENERIC_WRITE, 0, &inheritable, CREATE_NEW, 0, nullptr));
  ASSERT_TRUE(secret.valid());
  const auto number = std::to_string(reinterpret_cast<std::uintptr_t>(secret.get()));
  const auto child = start({"handle", "answer", number});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("answer"), "closed");
}

// The write end of the first pipe in the second child would keep the first child waiting for more input.
TEST_F(ChildProcessTest, TwoChildrenDoNotHoldEachOthersPipes) {
  const auto first = start({"copy", "first"}, ChildInput::pipe);
  const auto second = start({"copy", "second"}, ChildInput::pipe);
  ASSERT_TRUE(first && second);
  first->close_input();
  EXPECT_EQ(first->wait(60s), 0);
}

}  // namespace
}  // namespace veyrin::platform
