#include "common/platform/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "common/platform/linux/descriptor.h"

namespace veyrin::platform {
namespace {

constexpr mode_t file_mode = 0666;  // less what the user's mask takes away
constexpr std::size_t most_text = 255;
constexpr std::intptr_t no_handle = -1;

/// True while the name still leads to the open file: its last holder removes it before letting it go.
bool has_name(int descriptor, const std::filesystem::path& path) {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && lstat(path.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

bool is_regular_file(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

[[nodiscard]] LockFile::Outcome unavailable(std::string& reason, int code) {
  reason = std::generic_category().message(code);
  return LockFile::Outcome::unavailable;
}

}  // namespace

LockFile::LockFile(std::filesystem::path path) : handle_(no_handle), path_(std::move(path)) {
  inherited_text_.reserve(most_text);
}

void LockFile::read_inherited_text() {
  inherited_text_.resize(most_text);
  const ssize_t size = pread(static_cast<int>(handle_), inherited_text_.data(), most_text, 0);
  inherited_text_.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
}

LockFile::Outcome LockFile::take(const std::filesystem::path& path, std::unique_ptr<LockFile>& lock,
                                 std::string& reason) {
  // The last holder may remove the file between our opening and locking it; nobody does that for long.
  constexpr int most_turns = 100;
  std::unique_ptr<LockFile> taken(new LockFile(path));
  for (int turn = 0; turn < most_turns; ++turn) {
    bool created = true;
    Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, file_mode));
    if (!file.valid() && errno == EEXIST) {
      created = false;
      // Without O_NONBLOCK a pipe of that name would wait for its other end.
      file = Descriptor(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
      if (!file.valid() && errno == ENOENT) continue;
    }
    if (!file.valid()) return unavailable(reason, errno);
    if (!is_regular_file(file.get())) {
      reason = "it is not a regular file";
      return Outcome::unavailable;
    }
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
      const int code = errno;
      if (code == EWOULDBLOCK) return Outcome::held;
      if (created) unlink(path.c_str());
      return unavailable(reason, code);
    }
    if (!has_name(file.get(), path)) continue;
    taken->handle_ = file.release();
    taken->read_inherited_text();
    lock = std::move(taken);
    return Outcome::taken;
  }
  return Outcome::held;
}

LockFile::~LockFile() {
  if (handle_ == no_handle) return;
  const Descriptor file(static_cast<int>(handle_));
  if (removes_file_ && has_name(file.get(), path_)) unlink(path_.c_str());
}

bool LockFile::write(const std::string& text) {
  const int descriptor = static_cast<int>(handle_);
  const auto size = static_cast<ssize_t>(text.size());
  return ftruncate(descriptor, 0) == 0 && pwrite(descriptor, text.data(), text.size(), 0) == size;
}

}  // namespace veyrin::platform
