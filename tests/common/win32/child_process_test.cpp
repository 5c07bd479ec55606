#include "common/platform/child_process.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <set>

#include "common/platform/win32/windows_api.h"
#include "tests/common/child_process_fixture.h"
#include "tests/support/awaited_file.h"
#include "tests/support/win32/process.h"

namespace veyrin::test {
namespace {

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
  platform::Handle file_;  ///< not inheritable, as the streams of some parents are not
};

/// The values of this process's handles that a program it starts could get.
std::set<std::uintptr_t> inheritable_handles() {
  constexpr std::uintptr_t step = 4;
  constexpr std::uintptr_t end = 16384;
  std::set<std::uintptr_t> values;
  for (std::uintptr_t value = step; value < end; value += step) {
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != 0 &&
        (flags & HANDLE_FLAG_INHERIT) != 0) {
      values.insert(value);
    }
  }
  return values;
}

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

TEST_F(ChildProcessTest, AnOutputPipeLeavesTheErrorsInherited) {
  {
    const StreamIntoFile output(STD_OUTPUT_HANDLE, home_ / "output");
    const StreamIntoFile errors(STD_ERROR_HANDLE, home_ / "errors");
    const auto child = start_with_output({"print"});
    ASSERT_TRUE(child) << failure_.system_error;
    EXPECT_EQ(read_all(*child), "to output\r\n");
    EXPECT_EQ(child->wait(), 0);
  }
  EXPECT_EQ(written("output"), "");
  EXPECT_EQ(written("errors"), "to error\r\n");
}

// Children that others start do not name the handles that they inherit.
TEST_F(ChildProcessTest, OurEndsOfItsPipesReachNoProgram) {
  const auto before = inheritable_handles();
  const auto child = start_with_output({"stay"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(inheritable_handles(), before);
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
    const auto heard = start_with_output({"print"});
    for (int i = 0; i < 3; ++i) SetStdHandle(numbers[i], previous[i]);
    ASSERT_TRUE(child) << failure_.system_error;
    EXPECT_EQ(child->wait(), 0);
    EXPECT_EQ(written("answer"), "null\nnull\nnull\nempty\n");
    std::filesystem::remove(home_ / "answer");
    ASSERT_TRUE(heard) << failure_.system_error;
    EXPECT_EQ(read_all(*heard), "to output\r\n");
  }
}

TEST_F(ChildProcessTest, DestructionEndsTheChild) {
  auto child = start({"number", "answer"}, platform::ChildInput::pipe);
  ASSERT_TRUE(child) << failure_.system_error;
  const platform::Handle process = open_process(wait_for_text(home_ / "answer"));
  ASSERT_TRUE(process.valid());
  EXPECT_FALSE(ends_within(process, 0));
  child.reset();
  ASSERT_TRUE(ends_within(process, 0));
  EXPECT_EQ(exit_code(process), 1U);
}

// The helper plays the converter here and is killed; its own child must go with it.
TEST_F(ChildProcessTest, ChildDiesWithAKilledConverter) {
  const auto converter = start({"start a child", "answer"});
  ASSERT_TRUE(converter) << failure_.system_error;
  const platform::Handle orphan = open_process(wait_for_text(home_ / "answer"));
  ASSERT_TRUE(orphan.valid());
  EXPECT_FALSE(ends_within(orphan, 0));
  converter->terminate();
  EXPECT_TRUE(ends_within(orphan, 10000));
}

TEST_F(ChildProcessTest, OtherInheritableHandlesDoNotReachTheChild) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const platform::Handle secret(
      CreateFileW((home_ / "secret").c_str(), GENERIC_WRITE, 0, &inheritable, CREATE_NEW, 0, nullptr));
  ASSERT_TRUE(secret.valid());
  const auto number = std::to_string(reinterpret_cast<std::uintptr_t>(secret.get()));
  const auto child = start({"file", "answer", number});
  ASSERT_TRUE(child) << failure_.system_error;
  EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(written("answer"), "closed");
}

}  // namespace
}  // namespace veyrin::test
