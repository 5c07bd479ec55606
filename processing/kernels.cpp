#include "processing/kernels.h"

#include <cmath>
#include <iterator>
#include <limits>
#include <numbers>

namespace veyrin {
namespace {

void fill_phase(float x, float (&weights)[lanczos_taps]) {
  if (x < std::numeric_limits<float>::epsilon()) {
    for (float& weight : weights) weight = 0.0F;
    weights[lanczos_taps_before] = 1.0F;
    return;
  }
  // sin(pi t) sin(pi t / 4) / t^2 at the eight taps: the first factor only changes sign from tap to tap and
  // cancels in the normalisation; the second is the angle-sum formula around the first tap, 45 degrees a
  // step.
  constexpr double half_root = std::numbers::sqrt2 / 2.0;
  constexpr double rotation[lanczos_taps][2] = {
      {1, 0},  {-half_root, -half_root}, {0, 1},  {half_root, -half_root},
      {-1, 0}, {half_root, half_root},   {0, -1}, {-half_root, half_root}};
  constexpr double quarter_pi = std::numbers::pi / 4.0;
  const double first = -(x + 3.0) * quarter_pi;
  const double sine = std::sin(first);
  const double cosine = std::cos(first);
  double values[lanczos_taps];
  double sum = 0.0;
  for (int k = 0; k < lanczos_taps; ++k) {
    const double y = -(x + 3.0 - k) * quarter_pi;
    values[k] = (rotation[k][0] * sine + rotation[k][1] * cosine) / (y * y);
    sum += values[k];
  }
  for (int k = 0; k < lanczos_taps; ++k) weights[k] = static_cast<float>(values[k] / sum);
}

/// The weights of a phase in steps of 2^-22. Rounding their running sum keeps the total at exactly 1, so that
/// an even area stays as it is, and each weight within one step.
void round_to_steps(const float (&taps)[lanczos_taps], std::int32_t (&steps)[lanczos_taps]) {
  double sum = 0.0;
  std::int32_t rounded_before = 0;
  for (int tap = 0; tap < lanczos_taps; ++tap) {
    sum += static_cast<double>(taps[tap]);
    const bool is_last = tap == lanczos_taps - 1;
    const auto rounded =
        static_cast<std::int32_t>(std::lround(std::ldexp(is_last ? 1.0 : sum, byte_weight_bits)));
    steps[tap] = rounded - rounded_before;
    rounded_before = rounded;
  }
}

/// Cuts the lowest limb off a number: returns it, a signed byte, and leaves the rest.
std::int8_t cut_limb(std::int32_t& number) {
  constexpr std::int32_t half = 1 << (byte_limb_bits - 1);
  const std::int32_t limb = ((number + half) & (2 * half - 1)) - half;
  number = (number - limb) / (2 * half);
  return static_cast<std::int8_t>(limb);
}

void fill_limbs(int phase, LanczosWeights& weights) {
  std::int32_t steps[lanczos_taps];
  round_to_steps(weights.taps[phase], steps);
  for (int tap = 0; tap < lanczos_taps; ++tap)
    for (int limb = byte_limb_count - 1; limb >= 0; --limb)
      weights.byte_limbs[limb][tap / 4][phase][tap % 4] = cut_limb(steps[tap]);
}

// The compiler's probes also ask whether the operating system saves the wide registers.

bool runs_avx512() {
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
         __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("avx2") &&
         __builtin_cpu_supports("fma");
}

bool runs_avx2() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

bool runs_always() {
  return true;
}

struct KernelSet {
  KernelChoice choice;
  bool (*runs_here)();
  Kernels kernels;
};

/// The fastest first.
constexpr KernelSet kernel_sets[] = {
    {KernelChoice::avx512, runs_avx512, {"AVX-512", avx512_sampling, avx2_storing}},
    {KernelChoice::avx2, runs_avx2, {"AVX2", avx2_sampling, avx2_storing}},
    {KernelChoice::scalar_only, runs_always, {"scalar", scalar_sampling, scalar_storing}},
};

}  // namespace

Kernels choose_kernels(KernelChoice choice) {
  bool reached = choice == KernelChoice::best_for_cpu;
  for (const KernelSet& set : kernel_sets) {
    reached = reached || set.choice == choice;
    if (reached && set.runs_here()) return set.kernels;
  }
  return std::end(kernel_sets)[-1].kernels;
}

LanczosWeights make_lanczos_weights() {
  LanczosWeights weights{};
  for (int phase = 0; phase < phase_count; ++phase) {
    const float(&taps)[lanczos_taps] = weights.taps[phase];
    fill_phase(static_cast<float>(phase) / phase_count, weights.taps[phase]);
    for (int tap = 0; tap < lanczos_taps; ++tap) {
      for (float& copy : weights.pair_taps[phase][tap]) copy = taps[tap];
      for (float& copy : weights.rows[phase][tap]) copy = taps[tap];
      weights.by_tap[tap][phase] = taps[tap];
    }
    fill_limbs(phase, weights);
  }
  return weights;
}

}  // namespace veyrin
