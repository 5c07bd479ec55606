// The guard against writing an output over the recording it is made from.
#pragma once

#include <filesystem>
#include <string>

namespace veyrin {

/// Whether both paths name the same file on disk, links resolved: other spellings, symbolic links and hard
/// links count. False when either does not exist or cannot be looked at. Never throws.
[[nodiscard]] bool output_is_input(const std::filesystem::path& input,
                                   const std::filesystem::path& output) noexcept;

/// Fails with "output would replace its own input: " and the output path when `output_is_input`. Call it
/// before anything is opened for writing.
[[nodiscard]] bool keep_input_intact(const std::filesystem::path& input, const std::filesystem::path& output,
                                     std::string& error);

}  // namespace veyrin
