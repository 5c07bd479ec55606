#include "common/platform/program.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace veyrin::platform {

std::optional<std::string> environment_value(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

std::filesystem::path module_path() {
  std::error_code code;
  return std::filesystem::read_symlink("/proc/self/exe", code);
}

std::string executable_file_name(std::string_view name) {
  return std::string(name);
}

void secure_standard_streams() {
  // The lowest free number is the missing one. Opened for reading only, so that a report that is lost is
  // noticed.
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) open("/dev/null", O_RDONLY);
  }
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

bool is_printed_into(const std::filesystem::path& file) {
  struct stat named {};
  if (stat(file.c_str(), &named) != 0 || !S_ISREG(named.st_mode)) return false;
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
    struct stat printed {};
    if (fstat(stream, &printed) == 0 && printed.st_dev == named.st_dev && printed.st_ino == named.st_ino)
      return true;
  }
  return false;
}

Utf8Console::Utf8Console() = default;

Utf8Console::~Utf8Console() = default;

std::unique_ptr<SharedLibrary> SharedLibrary::load(const std::string& name) {
  void* handle = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  return handle != nullptr ? std::unique_ptr<SharedLibrary>(new SharedLibrary(handle)) : nullptr;
}

SharedLibrary::~SharedLibrary() {
  dlclose(handle_);
}

void* SharedLibrary::address_of(const char* name) const {
  return dlsym(handle_, name);
}

}  // namespace veyrin::platform
