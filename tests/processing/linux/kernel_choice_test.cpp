// The choice of kernels beside what Linux tells of the CPU.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "processing/kernels.h"

namespace veyrin::test {
namespace {

/// The CPU's features by their names in the kernel's list, which leaves out what the system does not save.
std::vector<std::string> cpu_features() {
  std::ifstream list("/proc/cpuinfo");
  std::string line;
  while (std::getline(list, line)) {
    if (line.rfind("flags", 0) != 0) continue;
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
  }
  return {};
}

TEST(KernelChoice, TakesTheFastestSetThatTheCpuHas) {
  const std::vector<std::string> features = cpu_features();
  ASSERT_FALSE(features.empty()) << "this system does not list the CPU's features";
  const auto has = [&features](std::initializer_list<const char*> names) {
    return std::ranges::all_of(names,
                               [&](const char* name) { return std::ranges::count(features, name) == 1; });
  };
  const bool has_avx2 = has({"avx2", "fma"});
  const bool has_avx512 = has_avx2 && has({"avx512f", "avx512bw", "avx512vl", "avx512vbmi", "avx512_vnni"});
  const Kernels best = choose_kernels(KernelChoice::best_for_cpu);
  const SamplingKernels* up_to_avx2 = has_avx2 ? &avx2_sampling : &scalar_sampling;
  EXPECT_EQ(&best.sampling, has_avx512 ? &avx512_sampling : up_to_avx2);
  EXPECT_EQ(&best.storing, has_avx2 ? &avx2_storing : &scalar_storing);
  EXPECT_EQ(&choose_kernels(KernelChoice::avx512).sampling, &best.sampling);
  EXPECT_EQ(&choose_kernels(KernelChoice::avx2).sampling, up_to_avx2);
}

}  // namespace
}  // namespace veyrin::test
