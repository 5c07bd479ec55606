// A Windows program that does what a test asks of a child process. The first argument is the task, the second
// in most cases the file that gets the answer.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "common/platform/child_process.h"
#include "common/platform/module_path.h"
#include "common/platform/path_text.h"

namespace {

using veyrin::platform::path_from_utf8;

using Words = std::vector<std::string>;

/// Under another name first, so that no half-written answer is read.
int answer(const std::string& file, const std::string& text) {
  const auto path = path_from_utf8(file);
  auto part = path;
  part += ".part";
  std::ofstream(part, std::ios::binary) << text;
  std::filesystem::rename(part, path);
  return 0;
}

int stay() {
  Sleep(INFINITE);
  return 0;
}

int tell_arguments(const Words& words) {
  std::string text;
  for (std::size_t i = 2; i < words.size(); ++i) text += "<" + words[i] + ">\n";
  return answer(words[1], text);
}

int copy_input(const Words& words) {
  _setmode(_fileno(stdin), _O_BINARY);
  std::ofstream file(path_from_utf8(words[1]), std::ios::binary);
  file << std::cin.rdbuf();
  return 0;
}

/// Type and number of bytes that can be had at once from each standard stream.
int tell_streams(const Words& words) {
  std::string text;
  for (const DWORD number : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    DWORD mode = 0;
    const HANDLE stream = GetStdHandle(number);
    const bool console = GetConsoleMode(stream, &mode) != 0;
    text += GetFileType(stream) == FILE_TYPE_CHAR && !console ? "null\n" : "other\n";
  }
  char byte = 0;
  DWORD count = 1;
  const bool ended = ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &count, nullptr) != 0 && count == 0;
  return answer(words[1], text + (ended ? "empty\n" : "not empty\n"));
}

int tell_whether_handle_is_open(const Words& words) {
  DWORD flags = 0;
  const auto handle = reinterpret_cast<HANDLE>(std::stoull(words[2]));
  const bool open = GetHandleInformation(handle, &flags) != 0 && GetFileType(handle) == FILE_TYPE_DISK;
  return answer(words[1], open ? "open" : "closed");
}

/// Plays the converter: its own child leaves its number, then both wait.
int start_a_child(const Words& words) {
  veyrin::platform::ChildProcessRequest request;
  request.executable = veyrin::platform::module_path();
  request.arguments = {"number", words[1]};
  request.working_directory = request.executable.parent_path();
  request.input = veyrin::platform::ChildInput::pipe;
  veyrin::platform::ChildStartFailure failure;
  const auto child = veyrin::platform::ChildProcess::start(request, failure);
  return child ? stay() : 1;
}

int run_task(const Words& words) {
  const std::string& task = words.at(0);
  if (task == "exit") return std::stoi(words.at(1));
  if (task == "exit late") {
    Sleep(200);
    return 1;
  }
  if (task == "arguments") return tell_arguments(words);
  if (task == "folder") {
    return answer(words.at(1), veyrin::platform::path_to_utf8(std::filesystem::current_path()));
  }
  if (task == "copy") return copy_input(words);
  if (task == "copy late") {
    while (!std::filesystem::exists(path_from_utf8(words.at(2)))) Sleep(5);
    return copy_input(words);
  }
  if (task == "streams") return tell_streams(words);
  if (task == "print") {
    std::fputs("to output\n", stdout);
    std::fputs("to error\n", stderr);
    return 0;
  }
  if (task == "handle") return tell_whether_handle_is_open(words);
  if (task == "number") {
    answer(words.at(1), std::to_string(GetCurrentProcessId()));
    return stay();
  }
  if (task == "start a child") return start_a_child(words);
  return task == "stay" ? stay() : 98;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run_task(Words(argv + 1, argv + argc));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 97;
  }
}
