// A disk that is nearly full.
#pragma once

#include <sys/resource.h>

#include <csignal>

namespace veyrin::test {

/// Files of this process can have no more bytes than the limit while the object lives, as on a full disk.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : previous_handler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &previous_);
    const rlimit limited{bytes, previous_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &previous_);
    signal(SIGXFSZ, previous_handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*previous_handler_)(int);
  rlimit previous_{};
};

}  // namespace veyrin::test
