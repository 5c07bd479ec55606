#include "processing/kernel_choice.h"

#include "processing/cpu_features.h"

namespace veyrin {

Kernels choose_kernels(KernelChoice choice) {
  if (choice == KernelChoice::best_for_cpu && cpu_has_avx2()) return {"AVX2", avx2_sampling, avx2_storing};
  return {"scalar", scalar_sampling, scalar_storing};
}

}  // namespace veyrin
