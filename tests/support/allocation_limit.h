// Makes FFmpeg's memory allocation fail.
#pragma once

#include <climits>
#include <cstddef>

extern "C" {
#include <libavutil/mem.h>
}

namespace veyrin::test {

/// While it lives, FFmpeg's allocator refuses larger blocks.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t bytes) { av_max_alloc(bytes); }
  ~AllocationLimit() { av_max_alloc(INT_MAX); }
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
};

/// A limit that makes every allocation fail.
inline constexpr std::size_t no_memory = 1;

}  // namespace veyrin::test
