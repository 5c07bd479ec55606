#include "common/platform/program.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>

#include "common/platform/win32/windows_api.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

TEST(Utf8Console, SetsTheConsolesCodePageAndPutsTheOldOneBack) {
  const bool own_console = GetConsoleOutputCP() == 0 && AllocConsole() != 0;
  const unsigned before = GetConsoleOutputCP();
  if (before == 0) GTEST_SKIP() << "there is no console here";
  SetConsoleOutputCP(437);
  {
    const platform::Utf8Console console;
    EXPECT_EQ(GetConsoleOutputCP(), static_cast<unsigned>(CP_UTF8));
  }
  EXPECT_EQ(GetConsoleOutputCP(), 437U);
  SetConsoleOutputCP(before);
  if (own_console) FreeConsole();
}

TEST(StandardStreams, TheirFileIsKnown) {
  const TemporaryFolder folder;
  const platform::Handle report(CreateFileW((folder / "report").c_str(), GENERIC_WRITE,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_NEW,
                                            FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(report.valid());
  std::ofstream(folder / "other") << "text";
  for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    EXPECT_FALSE(platform::is_printed_into(folder / "report"));
    const HANDLE before = GetStdHandle(stream);
    SetStdHandle(stream, report.get());
    EXPECT_TRUE(platform::is_printed_into(folder / "report"));
    EXPECT_FALSE(platform::is_printed_into(folder / "other"));
    EXPECT_FALSE(platform::is_printed_into(folder / "missing"));
    EXPECT_FALSE(platform::is_printed_into("NUL"));
    SetStdHandle(stream, before);
  }
}

}  // namespace
}  // namespace veyrin::test
