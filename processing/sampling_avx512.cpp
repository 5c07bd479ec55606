// The sampling kernels for AVX-512 with VBMI and VNNI. Compiled with those instruction sets, so nothing but
// intrinsics and the contract may be included: an inline library function compiled here could be the copy
// that other files get.
//
// VNNI adds up more products of bytes in a cycle than other instructions do of floats. The column weights are
// whole numbers too, cut into bytes. A row's exact sum becomes a float and takes the row's weight.
#include "processing/sampling_avx512.h"

namespace veyrin {
namespace {

// Rows are summed so many at a time, step by step side by side, which hides the latencies.
constexpr int rows_at_once = 4;

/// For each lane, where the first four taps of its channel lie behind its neighbourhood's first byte.
template <int channels>
__m512i first_taps() {
  const __m512i taps = _mm512_set1_epi32(channels == 2 ? 0x06'04'02'00 : 0x03'02'01'00);
  return channels == 2 ? _mm512_mask_add_epi8(taps, 0xFFFF'FFFF'0000'0000, taps, _mm512_set1_epi8(1)) : taps;
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
      total = _mm512_fmadd_ps(_mm512_cvtepi32_ps(sums[row]),
                              _mm512_castsi512_ps(look_up(weights.by_tap[begin + row], group.y)), total);
  }
  return _mm512_mul_ps(total, _mm512_set1_ps(1.0F / (1 << byte_weight_bits)));
}

template <int channels>
__m512 sample_group(const RemapPosition* positions, const std::uint8_t* plane, std::ptrdiff_t stride,
                    const LanczosWeights& weights) {
  const Group group = Group::at<channels>(positions);
  return in_rows<channels, 4>(group, plane, stride,
                              [&](auto& rows) { return sum_up<channels>(rows, group, weights); });
}

void sample_one(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                std::ptrdiff_t stride, const LanczosWeights& weights, float* out) {
  for_each_group<lanes>(positions, count, [&](const RemapPosition* group, std::size_t at) {
    store_lanes<lanes>(sample_group<1>(group, plane, stride, weights), count - at, out + at);
  });
}

void sample_pair(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                 std::ptrdiff_t stride, const LanczosWeights& weights, float* out_first, float* out_second) {
  constexpr std::size_t outputs = lanes / 2;
  for_each_group<outputs>(positions, count, [&](const RemapPosition* group, std::size_t at) {
    const __m512 values = sample_group<2>(group, plane, stride, weights);
    const __m512 second = _mm512_shuffle_f32x4(values, values, 0b01'00'11'10);
    store_lanes<outputs>(values, count - at, out_first + at);
    store_lanes<outputs>(second, count - at, out_second + at);
  });
}

// Words are left to AVX2, which is no slower: they take twice the bytes and more limbs.

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
