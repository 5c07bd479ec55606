// The built program, run as a user runs it.
#pragma once

#include <string>
#include <vector>

#include "tests/support/program_run.h"

namespace veyrin::test {

inline ProgramRun run_converter_program(const std::vector<std::string>& arguments,
                                        const std::vector<std::string>& environment = {}) {
  return run_program(VEYRIN_PROGRAM, arguments, environment);
}

/// What the program prints and returns for one failure.
inline bool is_failure(const ProgramRun& run, const std::string& message) {
  return run.status == 1 && run.output == "Error: " + message + "\n" && run.errors.empty();
}

/// For failure messages: the command to repeat and all that came of it.
inline std::string described(const std::vector<std::string>& arguments, const ProgramRun& run) {
  std::string text = "veyrin-video-converter";
  for (const std::string& argument : arguments) text.append(" '").append(argument).append("'");
  return text + "\nstatus " + std::to_string(run.status) + "\n" + run.output + run.errors;
}

}  // namespace veyrin::test
