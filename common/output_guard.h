// What must hold before an output file is opened for writing.
#pragma once

#include <filesystem>
#include <string>

namespace veyrin {

/// Refuses an output that is the input itself, creates the output's folder with all missing ancestors, and
/// refuses an existing output unless `overwrite`; false with one message in `error`. An empty input is never
/// the output.
[[nodiscard]] bool prepare_output_path(const std::filesystem::path& input,
                                       const std::filesystem::path& output, bool overwrite,
                                       std::string& error);

/// The rule of spatial output, which is tested before a conversion begins: refuses an existing output (any
/// kind of file system object) unless `overwrite`, and a path of which the system cannot say whether it
/// exists; false with one message in `error`.
[[nodiscard]] bool check_spatial_output(const std::filesystem::path& output, bool overwrite,
                                        std::string& error);

/// Whether both paths name the same file on disk, links resolved: other spellings, symbolic links and hard
/// links count. False when either does not exist or cannot be looked at. Never throws.
[[nodiscard]] bool output_is_input(const std::filesystem::path& input,
                                   const std::filesystem::path& output) noexcept;

/// Fails with "output would replace its own input: " and the output path when `output_is_input`. Call it
/// before anything is opened for writing.
[[nodiscard]] bool keep_input_intact(const std::filesystem::path& input, const std::filesystem::path& output,
                                     std::string& error);

}  // namespace veyrin
