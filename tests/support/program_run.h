// Runs a program to its end and keeps what it wrote.
#pragma once

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {

struct ProgramRun {
  int status = -1;     ///< exit status; minus the signal's number when a signal ended it
  std::string output;  ///< with plain line feeds
  std::string errors;
};

/// `environment` holds NAME=VALUE texts on top of this process's own. A program that has not ended after a
/// minute is killed, so that a hang fails one case only.
ProgramRun run_program(const std::string& executable, const std::vector<std::string>& arguments,
                       const std::vector<std::string>& environment = {});

}  // namespace veyrin::test
