// Stands in for the packaged encoder: passes the probe, then leaves its process number and waits to be ended.
#include <windows.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "common/platform/files.h"
#include "common/platform/program.h"

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "lavfi") == 0) return 0;
  }
  const auto file = veyrin::platform::environment_value("VEYRIN_TEST_NUMBER_FILE");
  if (!file) return 1;
  const auto path = veyrin::platform::path_from_utf8(*file);
  auto part = path;
  part += ".part";
  std::ofstream(part) << GetCurrentProcessId();
  std::filesystem::rename(part, path);
  Sleep(INFINITE);
  return 0;
}
