#include "common/platform/program.h"

#include <gtest/gtest.h>
#include <windows.h>

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

}  // namespace
}  // namespace veyrin::test
