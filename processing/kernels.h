// The kernels that this machine can run, chosen once, and the weights that they work with.
#pragma once

#include <cstdint>

#include "processing/sampling_kernels.h"
#include "processing/storing_kernels.h"

namespace veyrin {

/// Which kernels a processor uses. The named sets are for tests and benchmarks.
enum class KernelChoice : std::int32_t { best_for_cpu = 0, scalar_only = 1, avx2 = 2, avx512 = 3 };

/// One instruction set's kernels. A new set is one more row in kernels.cpp.
struct Kernels {
  const char* name;
  const SamplingKernels& sampling;
  const StoringKernels& storing;
};

/// The fastest kernels that this processor and system can run, or the set asked for. The next slower set
/// stands in for one that cannot run here.
Kernels choose_kernels(KernelChoice choice);

/// One-dimensional Lanczos weights (a = 4) of all 32 phases; each phase's eight sum to 1. Phase 0 is the
/// sample itself.
LanczosWeights make_lanczos_weights();

}  // namespace veyrin
