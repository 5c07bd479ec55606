// Makes a chosen memory allocation of FFmpeg fail.
#pragma once

#include <cstddef>

namespace veyrin::test {

/// While it lives, the allocation by FFmpeg in this thread that follows `allowed` others fails. Reallocations
/// do not count.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t allowed);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// The number of allocations that the latest object, which may no longer exist, has allowed.
  [[nodiscard]] static std::size_t allowed();
};

}  // namespace veyrin::test
