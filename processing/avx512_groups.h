// Lanes and groups of the AVX-512 sampling kernels. Holds intrinsics only, and only files compiled for
// AVX-512 include it.
#pragma once

#include <immintrin.h>

#include "processing/sampling_kernels.h"

// Nothing is left of this header when it is compiled alone, without those instructions.
#ifdef __AVX512F__

namespace veyrin {
namespace {

constexpr std::size_t lanes = 16;
constexpr int register_bytes = 64;

// How far ahead the table is brought into the caches: it is read once per frame.
constexpr std::size_t table_bytes_ahead = 2048;

inline __m512i lane_numbers() {
  return _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
}

/// The entries of a table of 32 for all lanes.
inline __m512i look_up(const void* table, __m512i index) {
  const auto* halves = static_cast<const __m512i*>(table);
  return _mm512_permutex2var_epi32(_mm512_load_si512(halves), index, _mm512_load_si512(halves + 1));
}

/// Repeats the lowest byte of each lane.
inline __m512i in_all_bytes(__m512i values) {
  return _mm512_shuffle_epi8(values, _mm512_set4_epi32(0x0C0C0C0C, 0x08080808, 0x04040404, 0));
}

/// Calls sample(positions, offset) for each group.
template <std::size_t outputs, typename Sample>
void for_each_group(const RemapPosition* positions, std::size_t count, const Sample& sample) {
  RemapPosition rest[outputs];
  for (std::size_t at = 0; at < count; at += outputs) {
    const RemapPosition* group = positions + at;
    for (std::size_t ahead = 0; ahead < sizeof rest; ahead += register_bytes)
      _mm_prefetch(reinterpret_cast<const char*>(group) + table_bytes_ahead + ahead, _MM_HINT_T0);
    if (count - at < outputs) {
      // The last position stands in for those that a whole group lacks.
      for (std::size_t i = 0; i < outputs; ++i) rest[i] = positions[at + i < count ? at + i : count - 1];
      group = rest;
    }
    sample(group, at);
  }
}

/// Writes the first `count` lanes. Masked stores are slow on some processors, so whole groups go without.
template <std::size_t outputs>
void store_lanes(__m512 values, std::size_t count, float* out) {
  if (count < outputs)
    _mm512_mask_storeu_ps(out, static_cast<__mmask16>((1U << count) - 1), values);
  else if constexpr (outputs == lanes)
    _mm512_storeu_ps(out, values);
  else
    _mm256_storeu_ps(out, _mm512_castps512_ps256(values));
}

}  // namespace
}  // namespace veyrin

#endif
