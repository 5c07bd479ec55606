// Runs a program to its end and captures its output.
#pragma once

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {

struct ProgramRun {
  int status = -1;     ///< exit status; minus the signal's number when a signal ended it
  std::string output;  ///< lines end in LF
  std::string errors;
};

/// `environment` holds NAME=VALUE texts that are added to this process's environment. A program that has not
/// ended after a minute is killed, so that a hang fails only one case.
ProgramRun run_program(const std::string& executable, const std::vector<std::string>& arguments,
                       const std::vector<std::string>& environment = {});

}  // namespace veyrin::test
