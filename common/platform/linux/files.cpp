#include "common/platform/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "common/platform/linux/descriptor.h"

namespace veyrin::platform {
namespace {

// True once the content, or for a folder its entries, would survive a loss of power.
[[nodiscard]] bool write_through(const std::filesystem::path& path, int kind) {
  const Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | kind));
  return descriptor.valid() && fsync(descriptor.get()) == 0;
}

std::filesystem::path folder_of(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

}  // namespace

// File names are bytes here; they pass unchanged, valid UTF-8 or not.
std::filesystem::path path_from_utf8(std::string_view text) {
  return {text};
}

std::string path_to_utf8(const std::filesystem::path& path) {
  return path.native();
}

bool name_is_taken(const std::filesystem::path& path, std::error_code& reason) {
  const std::filesystem::file_status status = std::filesystem::symlink_status(path, reason);
  // A missing name sets the code too; only the type tells it from a failed look.
  if (std::filesystem::status_known(status)) reason.clear();
  return std::filesystem::exists(status);
}

std::filesystem::path follow_links(const std::filesystem::path& path) {
  constexpr int most_links = 40;  // as the kernel follows
  std::filesystem::path target = path;
  std::error_code reason;
  for (int link = 0; link < most_links; ++link) {
    if (!std::filesystem::is_symlink(target, reason)) return target;
    const std::filesystem::path next = std::filesystem::read_symlink(target, reason);
    if (reason) return target;
    target = target.parent_path() / next;
  }
  return path;
}

bool replace_file(const std::filesystem::path& source, const std::filesystem::path& target,
                  std::string& reason) {
  // The content goes first: a name that reaches the disk before its bytes would be an empty file.
  if (!write_through(source, 0) || rename(source.c_str(), target.c_str()) != 0) {
    reason = std::generic_category().message(errno);
    return false;
  }
  // Some file systems cannot sync a folder. The move is done by now either way.
  static_cast<void>(write_through(folder_of(target), O_DIRECTORY));
  return true;
}

}  // namespace veyrin::platform
