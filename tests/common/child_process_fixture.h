// What the tests of child processes share: a fixture whose child is the program `child_for_tests`, and what
// each system says of it.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "common/platform/child_process.h"
#include "common/platform/files.h"
#include "common/platform/program.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {

/// Makes the helper program startable under another name; its libraries stay where they are.
void place_child(const std::filesystem::path& helper, const std::filesystem::path& name);

/// The exit code of a child that was ended by `terminate`.
extern const int exit_code_of_terminated_child;

/// How much earlier than asked a wait may end by the system's clock.
extern const std::chrono::milliseconds clock_step;

/// What the system says of a program that is missing, of a file that is no program, and of a missing folder.
struct StartErrors {
  std::string missing_program, no_program, missing_folder;
};
StartErrors start_errors();

/// The number of descriptors or handles that this process holds.
std::size_t open_handles();

/// All that is left of the child's output.
inline std::string read_all(platform::ChildProcess& child) {
  std::string text;
  std::array<char, 100000> chunk;
  std::size_t count = 0;
  while ((count = child.read(std::as_writable_bytes(std::span(chunk)))) > 0) text.append(chunk.data(), count);
  return text;
}

/// Name of a folder with blanks, letters outside of every code page's common part, and one outside the basic
/// plane.
inline constexpr const char* unicode_name =
    "my videos \xc3\xa9\xe2\x82\xac \xe8\xa7\x86\xe9\xa2\x91 \xf0\x9f\x8e\xa5";

/// Each test's child lies in a folder with such a name, which is also its working directory.
class ChildProcessTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(home_);
    place_child(platform::module_path().parent_path() / platform::executable_file_name("child_for_tests"),
                program_);
  }

  /// `arguments` are a task of the helper program and what that takes.
  platform::ChildProcessRequest request_for(std::vector<std::string> arguments,
                                            platform::ChildInput input = platform::ChildInput::null_device) {
    platform::ChildProcessRequest request;
    request.executable = program_;
    request.arguments = std::move(arguments);
    request.working_directory = home_;
    request.input = input;
    return request;
  }

  std::unique_ptr<platform::ChildProcess> start_request(const platform::ChildProcessRequest& request) {
    return platform::ChildProcess::start(request, failure_);
  }

  std::unique_ptr<platform::ChildProcess> start(
      std::vector<std::string> arguments, platform::ChildInput input = platform::ChildInput::null_device) {
    return start_request(request_for(std::move(arguments), input));
  }

  /// A child whose output we read.
  std::unique_ptr<platform::ChildProcess> start_with_output(
      std::vector<std::string> arguments, platform::ChildInput input = platform::ChildInput::null_device) {
    platform::ChildProcessRequest request = request_for(std::move(arguments), input);
    request.output = platform::ChildOutput::pipe;
    return start_request(request);
  }

  [[nodiscard]] std::string written(const std::string& name) const {
    return file_text(home_ / platform::path_from_utf8(name));
  }

  TemporaryFolder folder_;
  std::filesystem::path home_ = folder_ / unicode_name;
  std::filesystem::path program_ = home_ / platform::executable_file_name("the child");
  platform::ChildStartFailure failure_;
};

}  // namespace veyrin::test
