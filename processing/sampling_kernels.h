// The sampling loops of the CPU processor: their signatures and contracts, and one table of them per
// instruction set. Included by files compiled for newer instruction sets, so it holds no code and includes
// none.
#pragma once

#include <cstddef>
#include <cstdint>

namespace veyrin {

inline constexpr int lanczos_taps = 8;
inline constexpr int lanczos_taps_before = 3;  ///< taps left of (above) the integer position
inline constexpr int phase_bits = 5;
inline constexpr int phase_count = 1 << phase_bits;

/// Source position of one output sample in its plane, in steps of 1/32 sample: integer position * 32 + phase.
struct RemapPosition {
  std::int32_t x;
  std::int32_t y;
};

inline constexpr int byte_limb_bits = 8;
inline constexpr int byte_limb_count = 3;
inline constexpr int byte_weight_bits = 22;  ///< a row of bytes times such weights adds up to less than 2^31

/// The eight one-dimensional weights of each phase; tap k belongs to source index integer position - 3 + k.
/// The weight of a tap pair is the product of its row's and its column's weight.
struct LanczosWeights {
  alignas(32) float taps[phase_count][lanczos_taps];
  /// Each weight twice, for interleaved pairs.
  alignas(32) float pair_taps[phase_count][lanczos_taps][2];
  /// Each weight once per column, so that a row of samples is weighted straight from memory.
  alignas(32) float rows[phase_count][lanczos_taps][lanczos_taps];

  // For kernels that fetch the weights of many outputs at once and sum rows in whole numbers.

  /// The weights of all phases, tap by tap.
  alignas(64) float by_tap[lanczos_taps][phase_count];
  /// Weights in steps of 2^-22, each phase's adding up to 1 exactly, as three signed bytes, highest first,
  /// for taps 0 to 3 and 4 to 7.
  alignas(64) std::int8_t byte_limbs[byte_limb_count][2][phase_count][4];
};

/// How a sample lies in memory.
enum class SampleStorage : std::int32_t {
  bits_8 = 0,        ///< one byte
  bits_16 = 1,       ///< 16 bits little endian, value in the low bits
  bits_16_high = 2,  ///< 16 bits little endian, ten-bit value in the high bits; those below are fractions
};
inline constexpr int sample_storage_count = 3;
inline constexpr int high_alignment_shift = 6;  ///< 16 - 10 bits
/// Ten-bit values of high-aligned words, exactly.
inline constexpr float high_alignment_scale = 1.0F / (1 << high_alignment_shift);

/// Weighted 8x8 sums at `count` positions of a plane whose whole neighbourhoods lie inside it. `plane` is the
/// first sample, `stride` the bytes from row to row; the plane is smaller than 2 GiB. Writes out[0, count).
/// Reads nothing outside the smallest rectangle of samples that holds all neighbourhoods.
using SampleOneFunction = void (*)(const RemapPosition* positions, std::size_t count,
                                   const std::uint8_t* plane, std::ptrdiff_t stride,
                                   const LanczosWeights& weights, float* out);

/// The same for a plane of interleaved pairs: the first of each pair to `out_first`, the second to
/// `out_second`.
using SamplePairFunction = void (*)(const RemapPosition* positions, std::size_t count,
                                    const std::uint8_t* plane, std::ptrdiff_t stride,
                                    const LanczosWeights& weights, float* out_first, float* out_second);

struct SamplingKernels {
  SampleOneFunction one[sample_storage_count];    ///< by SampleStorage
  SamplePairFunction pair[sample_storage_count];  ///< by SampleStorage
};

/// Plain C++: the definition that the others are measured against.
extern const SamplingKernels scalar_sampling;

/// Needs AVX2 and FMA. Sums differ from the scalar ones by float rounding only.
extern const SamplingKernels avx2_sampling;

/// Needs AVX-512 F, BW, VL, VBMI and VNNI beside what AVX2's need. For bytes the weights are rounded to 22
/// bits: sums differ from the scalar ones by less than 0.001. Words are AVX2's.
extern const SamplingKernels avx512_sampling;

}  // namespace veyrin
