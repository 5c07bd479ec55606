#include "processing/cpu_features.h"

#include <cpuid.h>

#include <cstdint>

namespace veyrin {
namespace {

constexpr unsigned bit(unsigned position) {
  return 1U << position;
}

/// The low half of XCR0; only valid once CPUID reports OSXSAVE.
std::uint32_t enabled_register_state() {
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

}  // namespace

bool cpu_has_avx2() {
  constexpr unsigned leaf1_fma = bit(12), leaf1_osxsave = bit(27), leaf1_avx = bit(28);
  constexpr unsigned leaf1_needed = leaf1_fma | leaf1_osxsave | leaf1_avx;
  constexpr unsigned leaf7_avx2 = bit(5);
  constexpr std::uint32_t xmm_and_ymm_state = bit(1) | bit(2);

  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & leaf1_needed) != leaf1_needed) return false;
  if ((enabled_register_state() & xmm_and_ymm_state) != xmm_and_ymm_state) return false;
  return __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx & leaf7_avx2) != 0;
}

}  // namespace veyrin
