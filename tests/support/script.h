// Small shell programs that stand in for a child process.
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

/// The script line that leaves the process's number in the file "pid" of its folder.
inline constexpr const char* leave_pid = "echo $$ > pid.part; mv pid.part pid\n";

inline bool process_exists(pid_t process) {
  return kill(process, 0) == 0;
}

}  // namespace veyrin::test
