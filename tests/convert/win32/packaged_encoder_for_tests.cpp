// A Windows program in the place of the packaged encoder. Files in its working directory, "probe" and
// "encode", say what it does when it is started for the one or the other.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "tests/support/awaited_file.h"
#include "tests/support/temporary_folder.h"

namespace {

using veyrin::test::file_text;
using veyrin::test::leave_text;

int run(const std::string& task) {
  if (task == "stay") {
    leave_text("number", std::to_string(GetCurrentProcessId()));
    Sleep(INFINITE);
  }
  if (task == "copy") {
    _setmode(_fileno(stdin), _O_BINARY);
    std::ofstream("frames", std::ios::binary) << std::cin.rdbuf();
    return 0;
  }
  return std::stoi(task);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::string arguments;
    for (int i = 1; i < argc; ++i) arguments.append(argv[i]).append("\n");
    // The log level tells which of the two is meant.
    const std::string kind = argc > 3 && argv[3] == std::string("error") ? "probe" : "encode";
    leave_text(kind + ".arguments", arguments);
    return run(file_text(kind));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 97;
  }
}
