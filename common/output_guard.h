// What must hold before an output file is opened for writing.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace veyrin {

/// The files of one run of the program that no output may replace: its recordings, and the outputs that it
/// has already written. A default one knows only the input that it is asked about.
class BatchFiles {
 public:
  void add_input(std::filesystem::path input) { inputs_.push_back(std::move(input)); }
  void add_output(std::filesystem::path output) { outputs_.push_back(std::move(output)); }

  /// Fails with one message when `output` is one of the files on disk, links resolved: "output would replace
  /// its own input: " and the output's path when it is `input`, else a message that names both files. An
  /// empty input is never the output. Call it before anything is opened for writing.
  [[nodiscard]] bool keep_intact(const std::filesystem::path& input, const std::filesystem::path& output,
                                 std::string& error) const;

 private:
  std::vector<std::filesystem::path> inputs_;
  std::vector<std::filesystem::path> outputs_;
};

/// Refuses an output that is one of the files that `batch` keeps intact for `input`, creates the output's
/// folder with all missing ancestors, and refuses an existing output (a link without target included) unless
/// `overwrite`, and one without a file name; false with one message in `error`.
[[nodiscard]] bool prepare_output_path(const std::filesystem::path& input,
                                       const std::filesystem::path& output, bool overwrite,
                                       const BatchFiles& batch, std::string& error);

/// The rule of spatial output, which is tested before a conversion begins: refuses an existing output (any
/// kind of file system object) unless `overwrite`, and a path of which the system cannot say whether it
/// exists; false with one message in `error`.
[[nodiscard]] bool check_spatial_output(const std::filesystem::path& output, bool overwrite,
                                        std::string& error);

/// Whether both paths name the same file on disk, links resolved: other spellings, symbolic links and hard
/// links count. False when either does not exist or cannot be looked at. Never throws.
[[nodiscard]] bool is_same_file(const std::filesystem::path& a, const std::filesystem::path& b) noexcept;

}  // namespace veyrin
