// The right of this process to write one output, held while the output and the files beside it are written.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "common/output_guard.h"
#include "common/platform/output_file.h"

namespace veyrin::platform {
class LockFile;
}

namespace veyrin {

/// One output and its temporary files, claimed against other processes of this program by a lock file beside
/// each, "NAME.veyrin-lock". The lock files are gone with the claim; when the process was killed they stay,
/// and show that a temporary file is what the killed one has left. Where no lock file can be made (a folder
/// that cannot be written to, a device as the output) the claim goes without.
class OutputClaim {
 public:
  /// Claims the file that the output leads to, links resolved. Waits up to `patience` for another process.
  /// Null with one message in `error` when it is still being written then, or when it exists and `overwrite`
  /// is not set.
  [[nodiscard]] static std::unique_ptr<OutputClaim> create(const std::filesystem::path& output,
                                                           bool overwrite, std::string& error,
                                                           std::chrono::milliseconds patience = {});
  ~OutputClaim();
  OutputClaim(const OutputClaim&) = delete;
  OutputClaim& operator=(const OutputClaim&) = delete;

  /// The file to write.
  [[nodiscard]] const std::filesystem::path& file() const { return file_; }

  /// How to open it: an existing one is replaced, a new one must still be missing.
  [[nodiscard]] platform::OutputFile::Opening opening() const {
    return replaces_ ? platform::OutputFile::Opening::replace : platform::OutputFile::Opening::create;
  }

  /// Makes sure that `temporary`, in the output's folder, can be created later: claims it, too, removes what
  /// a killed process has left there, and fails with one message that names the file when it is anybody
  /// else's, or when it is one of the files that `batch` keeps intact for `input`.
  [[nodiscard]] bool plan_temporary(const std::filesystem::path& input, const BatchFiles& batch,
                                    const std::filesystem::path& temporary, std::string& error);

 private:
  explicit OutputClaim(std::filesystem::path file);

  std::filesystem::path file_;
  bool replaces_ = false;
  std::vector<std::unique_ptr<platform::LockFile>> locks_;
};

/// A temporary file that this process has created: removed with the object, in whatever way that comes about.
class TemporaryFile {
 public:
  /// `path` exists by now.
  explicit TemporaryFile(std::filesystem::path path) : path_(std::move(path)) {}
  ~TemporaryFile() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove(path_, ignored);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// It has another name now.
  void release() { path_.clear(); }

 private:
  std::filesystem::path path_;
};

}  // namespace veyrin
