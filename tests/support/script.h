// Shell scripts as child processes.
#pragma once

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {

/// Writes an executable script of /bin/sh with the given body and returns its path.
inline std::filesystem::path write_script(const std::filesystem::path& path, const std::string& body) {
  std::ofstream(path) << "#!/bin/sh\n" << body << '\n';
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  return path;
}

/// A script line that leaves the process ID in the file "pid" of the working folder.
inline constexpr const char* leave_pid = "echo $$ > pid.part; mv pid.part pid\n";

inline bool process_exists(pid_t process) {
  return kill(process, 0) == 0;
}

}  // namespace veyrin::test
