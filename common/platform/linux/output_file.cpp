#include "common/platform/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace veyrin::platform {
namespace {

constexpr mode_t file_mode = 0666;  // less what the user's mask takes away

[[nodiscard]] bool fail_with_errno(std::error_code& reason) {
  reason.assign(errno, std::generic_category());
  return false;
}

}  // namespace

OutputFile::OutputFile(std::intptr_t handle)
    : handle_(handle), seekable_(lseek(static_cast<int>(handle), 0, SEEK_CUR) >= 0) {}

OutputFile::~OutputFile() {
  if (open_) ::close(static_cast<int>(handle_));
}

std::unique_ptr<OutputFile> OutputFile::open(const std::filesystem::path& path, Opening opening,
                                             std::error_code& reason) {
  const int how = opening == Opening::create ? O_EXCL : O_TRUNC;
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | how, file_mode);
  if (descriptor >= 0) return std::unique_ptr<OutputFile>(new OutputFile(descriptor));
  static_cast<void>(fail_with_errno(reason));
  return nullptr;
}

bool OutputFile::write(const std::uint8_t* data, std::size_t size, std::error_code& reason) {
  while (size > 0) {
    const ssize_t written = ::write(static_cast<int>(handle_), data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return fail_with_errno(reason);
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

bool OutputFile::seek(std::int64_t position, std::error_code& reason) {
  return lseek(static_cast<int>(handle_), position, SEEK_SET) >= 0 || fail_with_errno(reason);
}

std::int64_t OutputFile::size() const {
  struct stat status {};
  return fstat(static_cast<int>(handle_), &status) == 0 ? status.st_size : -1;
}

bool OutputFile::close(std::error_code& reason) {
  open_ = false;
  return ::close(static_cast<int>(handle_)) == 0 || fail_with_errno(reason);
}

}  // namespace veyrin::platform
