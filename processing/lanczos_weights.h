// One-dimensional Lanczos weights (a = 4) in phases of 1/32 sample.
#pragma once

#include "processing/sampling_kernels.h"

namespace veyrin {

/// The weights of all 32 phases; each phase's eight sum to 1. Phase 0 is the sample itself.
LanczosWeights make_lanczos_weights();

}  // namespace veyrin
