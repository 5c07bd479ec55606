// The folders in which Windows looks for programs: the text of the environment variable Path.
#pragma once

#include <string>
#include <string_view>

namespace veyrin::installer {

/// The list with the folder behind the others; unchanged when it holds the folder already. Case, quotation
/// marks and a backslash at the end make no difference.
std::wstring add_folder(std::wstring_view list, std::wstring_view folder);

/// The list without the folder; all other entries stay as they are, empty ones too.
std::wstring remove_folder(std::wstring_view list, std::wstring_view folder);

}  // namespace veyrin::installer
