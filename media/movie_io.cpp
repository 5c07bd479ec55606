#include "media/movie_io.h"

#include <cerrno>
#include <cstdio>
#include <utility>

namespace veyrin {
namespace {

// A high-bitrate frame in few system calls.
constexpr int buffer_bytes = 256 * 1024;

}  // namespace

std::unique_ptr<MovieIo> MovieIo::create(std::unique_ptr<platform::OutputFile> file) {
  std::unique_ptr<MovieIo> io(new MovieIo(std::move(file)));
  LibraryMemoryPtr<std::uint8_t> buffer(static_cast<std::uint8_t*>(av_malloc(buffer_bytes)));
  if (!buffer) return nullptr;
  io->context_ = avio_alloc_context(buffer.get(), buffer_bytes, /*write_flag=*/1, io.get(), nullptr, write,
                                    io->file_->seekable() ? seek : nullptr);
  if (io->context_ == nullptr) return nullptr;
  static_cast<void>(buffer.release());
  return io;
}

MovieIo::~MovieIo() {
  if (context_ == nullptr) return;
  // The library may have replaced the buffer by another one.
  av_freep(&context_->buffer);
  avio_context_free(&context_);
}

int MovieIo::close() {
  avio_flush(context_);
  std::error_code reason;
  const bool closed = file_->close(reason);
  if (context_->error < 0) return context_->error;
  return closed ? 0 : library_error_code(reason);
}

int MovieIo::write(void* self, const std::uint8_t* data, int size) {
  auto& io = *static_cast<MovieIo*>(self);
  std::error_code reason;
  if (!io.file_->write(data, static_cast<std::size_t>(size), reason)) return library_error_code(reason);
  io.position_ += size;
  return size;
}

std::int64_t MovieIo::seek(void* self, std::int64_t offset, int whence) {
  auto& io = *static_cast<MovieIo*>(self);
  std::int64_t target = offset;
  switch (whence & ~AVSEEK_FORCE) {
    case SEEK_SET:
      break;
    case SEEK_CUR:
      target += io.position_;
      break;
    case SEEK_END:
      target += io.file_->size();
      break;
    case AVSEEK_SIZE:
      return io.file_->size();
    default:
      return AVERROR(EINVAL);
  }
  std::error_code reason;
  if (!io.file_->seek(target, reason)) return library_error_code(reason);
  io.position_ = target;
  return target;
}

int library_error_code(const std::error_code& reason) {
  return reason.category() == std::generic_category() && reason.value() > 0 ? AVERROR(reason.value())
                                                                            : AVERROR(EIO);
}

}  // namespace veyrin
