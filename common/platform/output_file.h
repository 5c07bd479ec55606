// Files that this process writes itself, through one handle from their creation to their end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <system_error>

namespace veyrin::platform {

/// One open file, for one thread. Child processes do not get its handle, other processes may read along.
/// Destruction closes it and leaves it where it is. Errors are those of the generic category where the system
/// has such a meaning for them.
class OutputFile {
 public:
  enum class Opening {
    create,  ///< fails when anything has the name, a link included
    replace  ///< an existing file is emptied, a missing one is created
  };

  /// Null with the system's reason.
  [[nodiscard]] static std::unique_ptr<OutputFile> open(const std::filesystem::path& path, Opening opening,
                                                        std::error_code& reason);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Writes all bytes at the position; false with the system's reason.
  [[nodiscard]] bool write(const std::uint8_t* data, std::size_t size, std::error_code& reason);

  /// Moves the position, in bytes from the beginning; false for pipes and devices that cannot.
  [[nodiscard]] bool seek(std::int64_t position, std::error_code& reason);

  /// Whether `seek` works.
  [[nodiscard]] bool seekable() const { return seekable_; }

  /// The file's length in bytes; negative when the system cannot say.
  [[nodiscard]] std::int64_t size() const;

  /// Closes the file, which may find a last failure to write. Nothing else may be called afterwards.
  [[nodiscard]] bool close(std::error_code& reason);

 private:
  /// Takes over the system's handle, which is valid.
  explicit OutputFile(std::intptr_t handle);

  std::intptr_t handle_;
  bool open_ = true;
  bool seekable_ = false;
};

}  // namespace veyrin::platform
