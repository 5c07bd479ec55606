// The kernels that this machine can run, chosen once, and the weights that they work with.
#pragma once

#include <cstdint>

#include "processing/sampling_kernels.h"
#include "processing/storing_kernels.h"

namespace veyrin {

/// Which kernels a processor uses.
enum class KernelChoice : std::int32_t { best_for_cpu, scalar_only };

/// One instruction set's kernels. A new set is one more entry in `choose_kernels`.
struct Kernels {
  const char* name;
  const SamplingKernels& sampling;
  const StoringKernels& storing;
};

/// The fastest kernels that this processor and system can run, or the scalar ones when asked for.
Kernels choose_kernels(KernelChoice choice);

/// One-dimensional Lanczos weights (a = 4) of all 32 phases; each phase's eight sum to 1. Phase 0 is the
/// sample itself.
LanczosWeights make_lanczos_weights();

}  // namespace veyrin
