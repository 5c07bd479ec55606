#include "tests/support/linux/failing_allocation.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>

namespace veyrin::test {
namespace {

thread_local bool armed = false;
thread_local std::size_t limit = 0;
thread_local std::size_t count = 0;

bool refuse() {
  if (!armed) return false;
  armed = count < limit;
  if (armed) ++count;
  return !armed;
}

}  // namespace

FailingAllocation::FailingAllocation(std::size_t allowed) {
  armed = true;
  limit = allowed;
  count = 0;
}

FailingAllocation::~FailingAllocation() {
  armed = false;
}

std::size_t FailingAllocation::allowed() {
  return count;
}

}  // namespace veyrin::test

// The sanitizer's allocation function, if its runtime is linked into the program.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the name is the sanitizer's.
extern "C" __attribute__((weak)) int __interceptor_posix_memalign(void** block, std::size_t alignment,
                                                                  std::size_t size);

/// FFmpeg calls the C library's function of this name, and the program's definition is found first.
extern "C" int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  using Function = int (*)(void**, std::size_t, std::size_t);
  static const Function next = __interceptor_posix_memalign != nullptr
                                   ? __interceptor_posix_memalign
                                   : reinterpret_cast<Function>(dlsym(RTLD_NEXT, "posix_memalign"));
  return veyrin::test::refuse() ? ENOMEM : next(block, alignment, size);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
