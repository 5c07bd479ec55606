// A program that is started without standard handles, as services and graphical programs start others.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "common/platform/files.h"
#include "common/platform/win32/windows_api.h"
#include "common/platform/windows_command_line.h"
#include "tests/recordings/recording.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/win32/process.h"

namespace veyrin::test {
namespace {

using platform::Handle;

constexpr DWORD time_limit = 60000;
constexpr DWORD no_answer = 99;

/// The exit code of the converter, whose stream i (input, output, error) is missing where bit i of `missing`
/// is set and the null device elsewhere.
DWORD status_without(unsigned int missing, const std::vector<std::string>& arguments) {
  SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const Handle device(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  &attributes, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  const auto stream = [&](unsigned int number) {
    return (missing >> number & 1U) != 0 ? nullptr : device.get();
  };
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = stream(0);
  startup.hStdOutput = stream(1);
  startup.hStdError = stream(2);
  std::wstring line = platform::wide_from_utf8(platform::windows_command_line(VEYRIN_PROGRAM, arguments));
  PROCESS_INFORMATION information{};
  // Attached to a console, the program would get that one's handles in the place of the missing ones.
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, DETACHED_PROCESS, nullptr, nullptr,
                     &startup, &information) == 0) {
    return no_answer;
  }
  const Handle thread(information.hThread);
  const Handle process(information.hProcess);
  if (!ends_within(process, time_limit)) TerminateProcess(process.get(), no_answer);
  WaitForSingleObject(process.get(), INFINITE);
  return exit_code(process);
}

TEST(ProgramStreams, AnAnswerWithoutAStandardOutputIsAFailure) {
  for (unsigned int missing = 0; missing < 8; ++missing) {
    const DWORD expected = (missing & 2U) != 0 ? 1 : 0;
    EXPECT_EQ(status_without(missing, {"--help"}), expected) << missing;
    EXPECT_EQ(status_without(missing, {"check-support", "missing.mov"}), expected) << missing;
  }
}

TEST(ProgramStreams, MissingStreamsDoNotChangeTheMovie) {
  const TemporaryFolder folder;
  recordings::RecordingPlan plan;
  plan.width = plan.height = 64;
  plan.seconds = 0.2;
  plan.audio = false;
  plan.output = folder / "clip.mov";
  std::string error;
  ASSERT_TRUE(recordings::make_recording(plan, error)) << error;
  const std::vector<std::vector<std::string>> kinds{{"--sbs-codec", "prores"}, {"--software"}};
  for (const std::vector<std::string>& kind : kinds) {
    std::string whole;
    for (const unsigned int missing : {0U, 1U, 2U, 4U, 7U}) {
      const auto output = folder / (kind.back() + std::to_string(missing) + ".mov");
      std::vector<std::string> arguments = kind;
      arguments.insert(arguments.end(),
                       {"--output", platform::path_to_utf8(output), platform::path_to_utf8(plan.output)});
      EXPECT_EQ(status_without(missing, arguments), (missing & 2U) != 0 ? 1U : 0U) << output;
      const std::string movie = file_text(output);
      if (missing == 0) whole = movie;
      EXPECT_FALSE(movie.empty());
      EXPECT_TRUE(movie == whole) << output;
    }
  }
}

}  // namespace
}  // namespace veyrin::test
