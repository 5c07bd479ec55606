// The names under which each system knows one file, for the tests of input and output being the same.
#pragma once

#include <filesystem>
#include <vector>

namespace veyrin::test {

/// Names of the file `input` in its folder, after making the links that some of them need.
std::vector<std::filesystem::path> names_of_same_file(const std::filesystem::path& input);

/// Names in the folder that are no file or another one, as this system alone has them.
std::vector<std::filesystem::path> names_of_other_files(const std::filesystem::path& folder);

}  // namespace veyrin::test
