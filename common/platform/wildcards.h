// File names with wildcards, which the shells of most systems replace before a program starts. The command
// prompt of Windows hands them over as they were typed.
#pragma once

#include <string>
#include <vector>

namespace veyrin::platform {

/// The files that a name (UTF-8) with `*` or `?` behind its last separator stands for, in the order of their
/// names, written with the same folder. Folders and hidden files are none of them. Where nothing fits, where
/// the name has no wildcard, and where shells do this: the name alone.
std::vector<std::string> expand_wildcards(const std::string& name);

}  // namespace veyrin::platform
