#include "processing/kernels.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/processing/oracle.h"

namespace veyrin::test {
namespace {

TEST(KernelChoice, ForcesScalarOnRequest) {
  const Kernels kernels = choose_kernels(KernelChoice::scalar_only);
  EXPECT_EQ(&kernels.sampling, &scalar_sampling);
  EXPECT_EQ(&kernels.storing, &scalar_storing);
}

TEST(LanczosWeights, AreTheNormalisedWindowedSinc) {
  const LanczosWeights weights = make_lanczos_weights();
  double largest_error = 0.0;
  for (int phase = 0; phase < phase_count; ++phase)
    for (int tap = 0; tap < lanczos_taps; ++tap)
      largest_error = std::max(
          largest_error, std::abs(static_cast<double>(weights.taps[phase][tap]) - oracle_weight(phase, tap)));
  RecordProperty("largest_error", std::to_string(largest_error));
  // Half a step of a float just below 1.
  EXPECT_LE(largest_error, std::ldexp(1.0, -25));
}

TEST(LanczosWeights, PhaseZeroIsTheSampleItself) {
  const LanczosWeights weights = make_lanczos_weights();
  for (int tap = 0; tap < lanczos_taps; ++tap)
    EXPECT_EQ(weights.taps[0][tap], tap == lanczos_taps_before ? 1.0F : 0.0F) << tap;
}

TEST(LanczosWeights, SumToOneInEveryPhase) {
  const LanczosWeights weights = make_lanczos_weights();
  for (const auto& taps : weights.taps) {
    double sum = 0.0;
    for (const float weight : taps) sum += static_cast<double>(weight);
    EXPECT_NEAR(sum, 1.0, 1e-7);
  }
}

TEST(LanczosWeights, MirrorBetweenAPhaseAndItsComplement) {
  const LanczosWeights weights = make_lanczos_weights();
  for (int phase = 1; phase < phase_count; ++phase)
    for (int tap = 0; tap < lanczos_taps; ++tap)
      EXPECT_NEAR(weights.taps[phase][tap], weights.taps[phase_count - phase][lanczos_taps - 1 - tap], 1e-7F);
}

TEST(LanczosWeights, RepeatThemselvesForRowsAndPairs) {
  const LanczosWeights weights = make_lanczos_weights();
  for (int phase = 0; phase < phase_count; ++phase)
    for (int tap = 0; tap < lanczos_taps; ++tap) {
      const float weight = weights.taps[phase][tap];
      for (const float copy : weights.pair_taps[phase][tap]) EXPECT_EQ(copy, weight);
      for (const float copy : weights.rows[phase][tap]) EXPECT_EQ(copy, weight);
      EXPECT_EQ(weights.by_tap[tap][phase], weight);
    }
}

TEST(LanczosWeights, LimbsAddUpToWeightsInSteps) {
  const LanczosWeights weights = make_lanczos_weights();
  for (int phase = 0; phase < phase_count; ++phase) {
    int byte_sum = 0;
    for (int tap = 0; tap < lanczos_taps; ++tap) {
      int of_bytes = 0;
      for (const auto& limb : weights.byte_limbs) of_bytes = 256 * of_bytes + limb[tap / 4][phase][tap % 4];
      const double exact = oracle_weight(phase, tap);
      EXPECT_LE(std::abs(std::ldexp(exact, 22) - of_bytes), 1.5) << phase << ", " << tap;
      byte_sum += of_bytes;
    }
    EXPECT_EQ(byte_sum, 1 << 22) << phase;
  }
}

}  // namespace
}  // namespace veyrin::test
