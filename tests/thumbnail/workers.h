// The threads that the tests paint with.
#pragma once

#include "processing/cpu_worker_pool.h"

namespace veyrin::test {

/// More than one, so that pictures are put together of several bands.
inline CpuWorkerPool& workers() {
  static CpuWorkerPool pool(3);
  return pool;
}

}  // namespace veyrin::test
