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

TEST(KernelChoice, TakesAvx2WhereTheCpuHasIt) {
  const std::vector<std::string> features = cpu_features();
  ASSERT_FALSE(features.empty()) << "this system does not list the CPU's features";
  const bool has_avx2 = std::ranges::count(features, "avx2") == 1 && std::ranges::count(features, "fma") == 1;
  const Kernels kernels = choose_kernels(KernelChoice::best_for_cpu);
  EXPECT_EQ(&kernels.sampling, has_avx2 ? &avx2_sampling : &scalar_sampling);
  EXPECT_EQ(&kernels.storing, has_avx2 ? &avx2_storing : &scalar_storing);
}

}  // namespace
}  // namespace veyrin::test
