#include "processing/cpu_features.h"

#include <gtest/gtest.h>

#include "processing/kernel_choice.h"

namespace veyrin::test {
namespace {

TEST(CpuFeatures, AgreeWithTheCompilersOwnProbe) {
  EXPECT_EQ(cpu_has_avx2(), __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0);
}

TEST(KernelChoice, ForcesScalarOnRequest) {
  const Kernels kernels = choose_kernels(KernelChoice::scalar_only);
  EXPECT_EQ(&kernels.sampling, &scalar_sampling);
  EXPECT_EQ(&kernels.storing, &scalar_storing);
}

TEST(KernelChoice, TakesAvx2WhereTheCpuHasIt) {
  const Kernels kernels = choose_kernels(KernelChoice::best_for_cpu);
  EXPECT_EQ(&kernels.sampling, cpu_has_avx2() ? &avx2_sampling : &scalar_sampling);
  EXPECT_EQ(&kernels.storing, cpu_has_avx2() ? &avx2_storing : &scalar_storing);
}

}  // namespace
}  // namespace veyrin::test
