// Where the running program lives and how programs are named.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace veyrin::platform {

/// The file of the running program, absolute; empty when the system does not tell.
std::filesystem::path module_path();

/// The file name of the program called `name`, with the suffix that the system asks for.
std::string executable_file_name(std::string_view name);

}  // namespace veyrin::platform
