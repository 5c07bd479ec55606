#include "processing/kernels.h"

#include <cmath>
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

// The compiler's probe also asks whether the operating system saves the wide registers.
bool cpu_runs_avx2() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

}  // namespace

Kernels choose_kernels(KernelChoice choice) {
  if (choice == KernelChoice::best_for_cpu && cpu_runs_avx2()) return {"AVX2", avx2_sampling, avx2_storing};
  return {"scalar", scalar_sampling, scalar_storing};
}

LanczosWeights make_lanczos_weights() {
  LanczosWeights weights{};
  for (int phase = 0; phase < phase_count; ++phase) {
    const float(&taps)[lanczos_taps] = weights.taps[phase];
    fill_phase(static_cast<float>(phase) / phase_count, weights.taps[phase]);
    for (int tap = 0; tap < lanczos_taps; ++tap) {
      for (float& copy : weights.pair_taps[phase][tap]) copy = taps[tap];
      for (float& copy : weights.rows[phase][tap]) copy = taps[tap];
    }
  }
  return weights;
}

}  // namespace veyrin
