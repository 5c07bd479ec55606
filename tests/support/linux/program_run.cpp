#include "tests/support/program_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace veyrin::test {

ProgramRun run_program(const std::string& executable, const std::vector<std::string>& arguments,
                       const std::vector<std::string>& environment) {
  const TemporaryFolder folder;
  const std::string output_file = (folder / "output").string();
  const std::string error_file = (folder / "errors").string();
  std::vector<std::string> words{executable};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  std::vector<std::string> variables = environment;  // the first of equal names takes effect
  std::vector<char*> envp;
  for (std::string& variable : variables) envp.push_back(variable.data());
  for (char** inherited = environ; *inherited != nullptr; ++inherited) envp.push_back(*inherited);
  envp.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output_file.c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, error_file.c_str(), O_WRONLY | O_CREAT, 0600);
  pid_t child = 0;
  const int started = posix_spawn(&child, executable.c_str(), &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (started != 0) throw std::runtime_error("could not start " + executable);

  const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  int state = 0;
  while (waitpid(child, &state, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > limit) kill(child, SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return {WIFEXITED(state) ? WEXITSTATUS(state) : -WTERMSIG(state), file_text(output_file),
          file_text(error_file)};
}

}  // namespace veyrin::test
