// Chooses the kernels once, by what this machine can run.
#pragma once

#include "processing/cpu_yuv_processor.h"
#include "processing/sampling_kernels.h"
#include "processing/storing_kernels.h"

namespace veyrin {

/// One instruction set's kernels. A new set is one more entry in `choose_kernels`.
struct Kernels {
  const char* name;
  const SamplingKernels& sampling;
  const StoringKernels& storing;
};

/// The fastest kernels that this processor and system can run, or the scalar ones when asked for.
Kernels choose_kernels(KernelChoice choice);

}  // namespace veyrin
