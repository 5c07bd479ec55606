// Locks that hold between processes, as files that name what they protect.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace veyrin::platform {

/// A file that one process at a time holds. The system releases it when the process ends in whatever way;
/// what was written into it then stays and tells the next holder about the unfinished work. Destruction
/// removes it.
class LockFile {
 public:
  enum class Outcome {
    taken,
    held,        ///< by another process, or by another object of this one
    unavailable  ///< such a file cannot be made here; `reason` says why
  };

  /// Creates the file or takes over one that nobody holds; a link is never followed. `lock` is set only when
  /// it was taken.
  [[nodiscard]] static Outcome take(const std::filesystem::path& path, std::unique_ptr<LockFile>& lock,
                                    std::string& reason);
  ~LockFile();
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;

  /// What a holder that did not come to its end has written; empty for a new file. At most 255 bytes of it.
  [[nodiscard]] const std::string& inherited_text() const { return inherited_text_; }

  /// Replaces the file's content; false when it cannot be written.
  [[nodiscard]] bool write(const std::string& text);

  /// Leaves the file and its content where they are when the object ends.
  void keep_file() { removes_file_ = false; }

 private:
  /// Not taken yet. Everything is allocated here: a file that exists must not be left by a shortage of
  /// memory.
  explicit LockFile(std::filesystem::path path);
  void read_inherited_text();

  std::intptr_t handle_;
  std::filesystem::path path_;
  std::string inherited_text_;
  bool removes_file_ = true;
};

}  // namespace veyrin::platform
