// FFmpeg's input and output of a movie file, on a file that this program has opened itself.
#pragma once

#include <memory>
#include <system_error>

#include "common/platform/output_file.h"
#include "media/ffmpeg.h"

namespace veyrin {

/// Lends a muxer an open file. FFmpeg would open a path by itself, but cannot be told to create a file only
/// where none is, nor to write into one that is open.
class MovieIo {
 public:
  /// Null when memory is short; the file is closed then.
  [[nodiscard]] static std::unique_ptr<MovieIo> create(std::unique_ptr<platform::OutputFile> file);
  ~MovieIo();
  MovieIo(const MovieIo&) = delete;
  MovieIo& operator=(const MovieIo&) = delete;

  /// What a muxer takes as its `pb`; borrowed, valid until `close`.
  [[nodiscard]] AVIOContext* context() const { return context_; }

  /// Writes out what is buffered and closes the file; a negative result is FFmpeg's error code for the first
  /// failure of all writing.
  [[nodiscard]] int close();

 private:
  explicit MovieIo(std::unique_ptr<platform::OutputFile> file) : file_(std::move(file)) {}
  static int write(void* self, const std::uint8_t* data, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);

  std::unique_ptr<platform::OutputFile> file_;
  AVIOContext* context_ = nullptr;
  std::int64_t position_ = 0;
};

/// FFmpeg's code for a failure of the file system, so that both sides' failures read alike.
int library_error_code(const std::error_code& reason);

}  // namespace veyrin
