// The programs that the converter starts: where they are and how they are run.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/platform/child_process.h"

namespace veyrin {

/// The program that an environment variable names, whether it exists or not; nothing when the variable is not
/// set or empty.
std::optional<std::filesystem::path> named_program(const char* variable);

/// The program `name`, without the system's suffix, beside this one, whether it exists or not; empty when
/// this program's own place is unknown.
std::filesystem::path program_beside(std::string_view name);

/// Runs the program in its own folder, connected as by default.
platform::ChildProcessRequest request_in_own_folder(const std::filesystem::path& program,
                                                    std::vector<std::string> arguments = {});

}  // namespace veyrin
