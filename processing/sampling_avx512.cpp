// The sampling kernels for AVX-512 with VBMI and VNNI. Compiled with those instruction sets, so nothing but
// intrinsics and the contract may be included: an inline library function compiled here could be the copy
// that other files get.
//
// VNNI adds up more products of bytes in a cycle than other instructions do of floats. The column weights are
// whole numbers too, cut into bytes. A row's exact sum becomes a float and takes the row's weight.
#include "processing/sampling_avx512.h"

namespace veyrin {
namespace {

// How far ahead the table is brought into the caches: it is read once per frame.
constexpr std::size_t table_bytes_ahead = 2048;

// Rows are summed so many at a time, step by step side by side, which hides the latencies.
constexpr int rows_at_once = 4;

/// The entries of a table of 32 for all lanes.
__m512i look_up(const void* table, __m512i index) {
  const auto* halves = static_cast<const __m512i*>(table);
  return _mm512_permutex2var_epi32(_mm512_load_si512(halves), index, _mm512_load_si512(halves + 1));
}

__m512 look_up(const float (&table)[phase_count], __m512i index) {
  return _mm512_permutex2var_ps(_mm512_load_ps(table), index, _mm512_load_ps(table + lanes));
}

/// For each lane, where the first four taps of its channel lie behind its neighbourhood's first byte.
template <int channels>
__m512i first_taps() {
  const __m512i taps = _mm512_set1_epi32(channels == 2 ? 0x06'04'02'00 : 0x03'02'01'00);
  return channels == 2 ? _mm512_mask_add_epi8(taps, 0xFFFF'FFFF'0000'0000, taps, _mm512_set1_epi8(1)) : taps;
}

/// Repeats the lowest byte of each lane.
__m512i in_all_bytes(__m512i values) {
  return _mm512_shuffle_epi8(values, _mm512_set4_epi32(0x0C0C0C0C, 0x08080808, 0x04040404, 0));
}

/// The sampled values of a group whose samples lie in `rows`; those of the second channel follow the first's.
template <int channels, typename Rows>
__m512 sum_up(Rows& rows, const Group& group, const LanczosWeights& weights) {
  const __m512i first = _mm512_add_epi8(in_all_bytes(rows.places()), first_taps<channels>());
  const __m512i second = _mm512_add_epi8(first, _mm512_set1_epi8(4 * channels));
  __m512i limbs[byte_limb_count][2];
  for (int limb = 0; limb < byte_limb_count; ++limb)
    for (int half = 0; half < 2; ++half) limbs[limb][half] = look_up(weights.byte_limbs[limb][half], group.x);

  __m512 total = _mm512_setzero_ps();
  for (int begin = 0; begin < lanczos_taps; begin += rows_at_once) {
    __m512i taps[rows_at_once][2];
    __m512i sums[rows_at_once];
    for (int row = 0; row < rows_at_once; ++row) {
      const Samples samples = rows.take(begin + row);
      taps[row][0] = _mm512_permutex2var_epi8(samples.low, first, samples.high);
      taps[row][1] = _mm512_permutex2var_epi8(samples.low, second, samples.high);
      sums[row] = _mm512_setzero_si512();
    }
    // The highest limbs first; what they add up to is moved up for the next ones.
    for (int limb = 0; limb < byte_limb_count; ++limb) {
      if (limb > 0)
        for (__m512i& sum : sums) sum = _mm512_slli_epi32(sum, byte_limb_bits);
      for (int half = 0; half < 2; ++half)
        for (int row = 0; row < rows_at_once; ++row)
          sums[row] = _mm512_dpbusd_epi32(sums[row], taps[row][half], limbs[limb][half]);
    }
    for (int row = 0; row < rows_at_once; ++row)
      total = _mm512_fmadd_ps(_mm512_cvtepi32_ps(sums[row]), look_up(weights.by_tap[begin + row], group.y),
                              total);
  }
  return _mm512_mul_ps(total, _mm512_set1_ps(1.0F / (1 << byte_weight_bits)));
}

template <int channels>
__m512 sample_group(const RemapPosition* positions, const std::uint8_t* plane, std::ptrdiff_t stride,
                    const LanczosWeights& weights) {
  const Group group = Group::at<channels>(positions);
  OneWindow<channels> one(group, plane, stride);
  if (one.fits()) return sum_up<channels>(one, group, weights);
  TwoWindows<channels> two(group, plane, stride);
  if (two.fits()) return sum_up<channels>(two, group, weights);
  Neighbourhoods<channels> separate(group, plane, stride);
  return sum_up<channels>(separate, group, weights);
}

/// Writes the first `count` lanes. Masked stores are slow on some processors, so whole groups go without.
template <int channels>
void store_lanes(__m512 values, std::size_t count, float* out) {
  if (count < lanes / channels)
    _mm512_mask_storeu_ps(out, static_cast<__mmask16>((1U << count) - 1), values);
  else if constexpr (channels == 1)
    _mm512_storeu_ps(out, values);
  else
    _mm256_storeu_ps(out, _mm512_castps512_ps256(values));
}

/// Calls store(values, count, offset) for each group.
template <int channels, typename Store>
void sample_groups(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                   std::ptrdiff_t stride, const LanczosWeights& weights, const Store& store) {
  constexpr std::size_t outputs = lanes / channels;
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
    store(sample_group<channels>(group, plane, stride, weights), count - at, at);
  }
}

void sample_one(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                std::ptrdiff_t stride, const LanczosWeights& weights, float* out) {
  sample_groups<1>(
      positions, count, plane, stride, weights,
      [&](__m512 values, std::size_t left, std::size_t at) { store_lanes<1>(values, left, out + at); });
}

void sample_pair(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                 std::ptrdiff_t stride, const LanczosWeights& weights, float* out_first, float* out_second) {
  sample_groups<2>(positions, count, plane, stride, weights,
                   [&](__m512 values, std::size_t left, std::size_t at) {
                     const __m512 second = _mm512_shuffle_f32x4(values, values, 0b01'00'11'10);
                     store_lanes<2>(values, left, out_first + at);
                     store_lanes<2>(second, left, out_second + at);
                   });
}

// Words do not pay: they take twice the permutations and limbs that their sums do not fit into one lane with.

template <SampleStorage storage>
void sample_words(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                  std::ptrdiff_t stride, const LanczosWeights& weights, float* out) {
  avx2_sampling.one[static_cast<int>(storage)](positions, count, plane, stride, weights, out);
}

template <SampleStorage storage>
void sample_word_pairs(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                       std::ptrdiff_t stride, const LanczosWeights& weights, float* out_first,
                       float* out_second) {
  avx2_sampling.pair[static_cast<int>(storage)](positions, count, plane, stride, weights, out_first,
                                                out_second);
}

}  // namespace

constinit const SamplingKernels avx512_sampling = {
    {sample_one, sample_words<SampleStorage::bits_16>, sample_words<SampleStorage::bits_16_high>},
    {sample_pair, sample_word_pairs<SampleStorage::bits_16>, sample_word_pairs<SampleStorage::bits_16_high>},
};

}  // namespace veyrin
