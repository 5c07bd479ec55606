// Ctrl-C and its kin end the converter by Windows' own means; nothing of it may stay behind.
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <string>
#include <thread>

#include "common/platform/files.h"
#include "common/platform/program.h"
#include "common/platform/win32/windows_api.h"
#include "common/platform/windows_command_line.h"
#include "tests/recordings/recording.h"
#include "tests/support/environment.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/win32/process.h"

namespace veyrin::test {
namespace {

using platform::Handle;

constexpr DWORD time_limit = 20000;

/// Puts this process, whatever is typed at it, on a console that it shares with nobody but its children. One
/// that it was started on alone can stay: `VEYRIN_TEST_OWN_CONSOLE` says so.
void take_console() {
  if (!platform::environment_switch("VEYRIN_TEST_OWN_CONSOLE")) {
    FreeConsole();
    AllocConsole();
  }
  const auto ignore = [](DWORD) -> BOOL { return TRUE; };
  SetConsoleCtrlHandler(ignore, TRUE);
}

Handle start_converter(const std::vector<std::string>& arguments) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  std::wstring line = platform::wide_from_utf8(platform::windows_command_line(VEYRIN_PROGRAM, arguments));
  PROCESS_INFORMATION information{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                     &information) == 0) {
    return {};
  }
  CloseHandle(information.hThread);
  return Handle(information.hProcess);
}

TEST(ProgramInterrupt, EndsThePackagedEncoderToo) {
  take_console();
  const TemporaryFolder folder;
  recordings::RecordingPlan plan;
  plan.width = plan.height = 64;
  plan.seconds = 0.2;
  plan.audio = false;
  plan.output = folder / "clip.mov";
  std::string error;
  ASSERT_TRUE(recordings::make_recording(plan, error)) << error;
  const auto number_file = folder / "number";
  const auto encoder = platform::module_path().parent_path() / "waiting_encoder.exe";
  const EnvironmentVariable encoder_setting("VEYRIN_FFMPEG_GPL", platform::path_to_utf8(encoder));
  const EnvironmentVariable number_setting("VEYRIN_TEST_NUMBER_FILE", platform::path_to_utf8(number_file));

  constexpr unsigned code_page_of_the_shell = 437;
  SetConsoleOutputCP(code_page_of_the_shell);
  const Handle converter =
      start_converter({"--software", "--output", platform::path_to_utf8(folder / "out.mp4"),
                       platform::path_to_utf8(plan.output)});
  ASSERT_TRUE(converter.valid());
  // A file that is just being renamed is there before it can be read.
  std::string number;
  while ((number = file_text(number_file)).empty() &&
         WaitForSingleObject(converter.get(), 0) == WAIT_TIMEOUT) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ASSERT_FALSE(number.empty()) << "the converter ended without its encoder";
  const Handle child = open_process(number);
  ASSERT_TRUE(child.valid());
  EXPECT_EQ(WaitForSingleObject(child.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
  const bool has_console = GetConsoleOutputCP() != 0;
  EXPECT_EQ(GetConsoleOutputCP(), has_console ? CP_UTF8 : 0U);

  if (GenerateConsoleCtrlEvent(CTRL_C_EVENT, /*group: all*/ 0) == 0) {
    const DWORD reason = GetLastError();
    TerminateProcess(converter.get(), 1);
    EXPECT_TRUE(ends_within(child, time_limit));
    GTEST_SKIP() << "no interrupt can be sent here: Windows error " << reason;
  }
  EXPECT_TRUE(ends_within(converter, time_limit));
  EXPECT_TRUE(ends_within(child, time_limit));
  EXPECT_EQ(exit_code(converter), STATUS_CONTROL_C_EXIT);
  EXPECT_EQ(GetConsoleOutputCP(), has_console ? code_page_of_the_shell : 0U)
      << "the shell has its own code page back";
  TerminateProcess(converter.get(), 1);
}

}  // namespace
}  // namespace veyrin::test
