// Shortage of memory inside FFmpeg.
#pragma once

#include <climits>
#include <cstddef>

extern "C" {
#include <libavutil/mem.h>
}

namespace veyrin::test {

/// Lets FFmpeg's allocator refuse anything larger while it lives.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t bytes) { av_max_alloc(bytes); }
  ~AllocationLimit() { av_max_alloc(INT_MAX); }
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
};

/// A limit that nothing FFmpeg allocates keeps to.
inline constexpr std::size_t no_memory = 1;

}  // namespace veyrin::test
