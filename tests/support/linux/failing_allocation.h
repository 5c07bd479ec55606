// Shortage of memory inside FFmpeg at a moment of the test's choice.
#pragma once

#include <cstddef>

namespace veyrin::test {

/// While it lives, one of the blocks that FFmpeg asks for in this thread is refused: the one that comes after
/// `allowed` others. Blocks that are made larger do not count.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t allowed);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// How many blocks the newest object, which may be gone, has allowed.
  [[nodiscard]] static std::size_t allowed();
};

}  // namespace veyrin::test
