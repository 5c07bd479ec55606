// A program that does what a test asks of a child process. The first argument is the task, the second in most
// cases the file that gets the answer.
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "common/platform/child_process.h"
#include "common/platform/files.h"
#include "common/platform/program.h"
#include "tests/common/child_tasks.h"
#include "tests/support/awaited_file.h"

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;
using platform::path_from_utf8;

using Arguments = std::vector<std::string>;

int answer(const std::string& file, const std::string& text) {
  leave_text(platform::path_from_utf8(file), text);
  return 0;
}

int stay() {
  while (true) std::this_thread::sleep_for(1h);
}

int tell_arguments(const Arguments& arguments) {
  std::string text;
  for (std::size_t i = 2; i < arguments.size(); ++i) text += "<" + arguments[i] + ">\n";
  return answer(arguments.at(1), text);
}

int copy_input(const Arguments& arguments) {
  make_streams_binary();
  std::ofstream file(platform::path_from_utf8(arguments.at(1)), std::ios::binary);
  file << std::cin.rdbuf();
  return 0;
}

int echo_input(const Arguments& arguments) {
  make_streams_binary();
  std::vector<char> chunk(65536);
  std::size_t count = 0;
  while ((count = std::fread(chunk.data(), 1, chunk.size(), stdin)) > 0)
    std::fwrite(chunk.data(), 1, count, stdout);
  return std::stoi(arguments.at(1));
}

int print_bytes(const Arguments& arguments) {
  const std::string bytes(std::stoul(arguments.at(1)), 'x');
  return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() ? 0 : 1;
}

void wait_for_file(const std::string& file) {
  while (!std::filesystem::exists(path_from_utf8(file))) std::this_thread::sleep_for(5ms);
}

int print_in_parts(const Arguments& arguments) {
  std::fputs("one", stdout);
  std::fflush(stdout);
  write_nothing();
  wait_for_file(arguments.at(1));
  std::fputs("two", stdout);
  return 0;
}

int copy_input_without_output(const Arguments& arguments) {
  std::fputs("last words", stdout);
  std::fclose(stdout);
  return copy_input(arguments);
}

/// Plays the converter: its own child leaves its number, then both wait.
int start_a_child(const Arguments& arguments) {
  platform::ChildProcessRequest request;
  request.executable = platform::module_path();
  request.arguments = {"number", arguments.at(1)};
  request.working_directory = std::filesystem::current_path();
  request.input = platform::ChildInput::pipe;
  platform::ChildStartFailure failure;
  const auto child = platform::ChildProcess::start(request, failure);
  return child ? stay() : 1;
}

int run_task(const Arguments& arguments) {
  const std::string& task = arguments.at(0);
  if (task == "exit") return std::stoi(arguments.at(1));
  if (task == "exit late") {
    std::this_thread::sleep_for(200ms);
    return 1;
  }
  if (task == "arguments") return tell_arguments(arguments);
  if (task == "folder") {
    return answer(arguments.at(1), platform::path_to_utf8(std::filesystem::current_path()));
  }
  if (task == "copy") return copy_input(arguments);
  if (task == "copy late") {
    wait_for_file(arguments.at(2));
    return copy_input(arguments);
  }
  if (task == "echo") return echo_input(arguments);
  if (task == "print bytes") return print_bytes(arguments);
  if (task == "print in parts") return print_in_parts(arguments);
  if (task == "close output") return copy_input_without_output(arguments);
  if (task == "streams") return answer(arguments.at(1), streams_text());
  if (task == "print") {
    std::fputs("to output\n", stdout);
    std::fputs("to error\n", stderr);
    return 0;
  }
  if (task == "file") return answer(arguments.at(1), holds_file(arguments.at(2)) ? "open" : "closed");
  if (task == "number") {
    answer(arguments.at(1), process_number());
    return stay();
  }
  if (task == "start a child") return start_a_child(arguments);
  return task == "stay" ? stay() : 98;
}

}  // namespace
}  // namespace veyrin::test

int main(int argc, char** argv) {
  try {
    return veyrin::test::run_task(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 97;
  }
}
