// A library that is loaded into the converter before all others and lets one of its calls of the system fail,
// or kills the process there. README.md tells how it is asked.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

enum Kind { kind_open, kind_write, kind_pipe, kind_rename, kind_change, kind_memory, kind_count };
constexpr std::array<std::string_view, kind_count> kind_names{"open",   "write",  "pipe",
                                                              "rename", "change", "memory"};

struct Fault {
  int kind = -1;  ///< -1: none
  long number = 0;
  int error = 0;  ///< 0: the process is killed
};

Fault fault;
pid_t process = 0;
std::array<std::atomic<long>, kind_count> counts{};

/// Sets errno and returns true when the call must fail; does not return when the process is to end there. A
/// call that changes what is on disk counts twice: as one of its own kind and as a change.
bool fails(int kind, bool is_change) {
  if (process == 0 || getpid() != process) return false;
  const bool is_own_kind = kind != kind_change;
  const long own_number = is_own_kind ? counts[kind]++ : -1;
  const long change_number = is_change ? counts[kind_change]++ : -1;
  // What is short of memory stays so.
  const bool is_due = kind == kind_memory ? own_number >= fault.number : own_number == fault.number;
  const bool hit = (fault.kind == kind && is_own_kind && is_due) ||
                   (fault.kind == kind_change && is_change && change_number == fault.number);
  if (!hit) return false;
  if (fault.error == 0) kill(process, SIGKILL);
  errno = fault.error;
  return true;
}

template <typename Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool is_pipe(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

/// Console output is left alone; a child's pipe does not change the disk.
bool write_fails(int descriptor) {
  if (descriptor <= STDERR_FILENO) return false;
  return is_pipe(descriptor) ? fails(kind_pipe, false) : fails(kind_write, true);
}

bool open_fails(int flags) {
  return fails(kind_open, (flags & (O_CREAT | O_TRUNC)) != 0);
}

mode_t mode_of(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

/// The text "KIND:NUMBER:ERRNO".
void read_wish(const char* wish) {
  const char* number = std::strchr(wish, ':');
  if (number == nullptr) return;
  const std::string_view name(wish, static_cast<std::size_t>(number - wish));
  for (int kind = 0; kind < kind_count; ++kind) {
    if (kind_names[kind] == name) fault.kind = kind;
  }
  char* error = nullptr;
  fault.number = std::strtol(number + 1, &error, 10);
  if (*error == ':') fault.error = static_cast<int>(std::strtol(error + 1, nullptr, 10));
}

const char* log_path = nullptr;

__attribute__((constructor)) void begin() {
  const char* wish = std::getenv("VEYRIN_TEST_FAULT");
  log_path = std::getenv("VEYRIN_TEST_FAULT_COUNTS");
  if (wish != nullptr) read_wish(wish);
  // Child processes are no concern of the fault.
  unsetenv("LD_PRELOAD");
  process = getpid();
}

__attribute__((destructor)) void end() {
  if (log_path == nullptr || getpid() != process) return;
  process = 0;
  std::FILE* log = std::fopen(log_path, "w");
  if (log == nullptr) return;
  for (int kind = 0; kind < kind_count; ++kind)
    std::fprintf(log, "%s %ld\n", kind_names[kind].data(), counts[kind].load());
  std::fclose(log);
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  if (open_fails(flags)) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

// The same call here, where files are always large.
int open64(const char* path, int flags, ...) __attribute__((alias("open")));

ssize_t write(int descriptor, const void* data, std::size_t size) {
  if (write_fails(descriptor)) return -1;
  return syscall(SYS_write, descriptor, data, size);
}

ssize_t pwrite(int descriptor, const void* data, std::size_t size, off_t offset) {
  if (write_fails(descriptor)) return -1;
  return syscall(SYS_pwrite64, descriptor, data, size, offset);
}

int ftruncate(int descriptor, off_t size) noexcept {
  if (fails(kind_change, true)) return -1;
  return static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
}

int fsync(int descriptor) {
  if (fails(kind_write, true)) return -1;
  return static_cast<int>(syscall(SYS_fsync, descriptor));
}

int flock(int descriptor, int operation) noexcept {
  if (fails(kind_change, true)) return -1;
  return static_cast<int>(syscall(SYS_flock, descriptor, operation));
}

int rename(const char* from, const char* to) noexcept {
  if (fails(kind_rename, true)) return -1;
  return static_cast<int>(syscall(SYS_rename, from, to));
}

int unlink(const char* path) noexcept {
  if (fails(kind_change, true)) return -1;
  return static_cast<int>(syscall(SYS_unlink, path));
}

int remove(const char* path) noexcept {
  static auto* const real_remove = real<int(const char*)>("remove");
  if (fails(kind_change, true)) return -1;
  return real_remove(path);
}

int mkdir(const char* path, mode_t mode) noexcept {
  if (fails(kind_change, true)) return -1;
  return static_cast<int>(syscall(SYS_mkdir, path, mode));
}

int pipe2(int* ends, int flags) noexcept {
  if (fails(kind_pipe, false)) return -1;
  return static_cast<int>(syscall(SYS_pipe2, ends, flags));
}

// The library's own allocator, under the names that it keeps for itself.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) noexcept {
  return fails(kind_memory, false) ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  return fails(kind_memory, false) ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
  return fails(kind_memory, false) ? nullptr : __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return fails(kind_memory, false) ? nullptr : __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
  if (fails(kind_memory, false)) return ENOMEM;
  *memory = __libc_memalign(alignment, size);
  return *memory != nullptr ? 0 : ENOMEM;
}
}
