// The sampling kernels for AVX-512 with VBMI and VNNI. Compiled with those instruction sets, so nothing but
// intrinsics and the contract may be included: an inline library function compiled here could be the copy
// that other files get.
//
// VNNI adds up products of whole numbers, more of them in a cycle than other instructions do of floats. The
// weights of a row's taps are whole numbers too, cut into limbs that VNNI takes. A row's exact sum becomes a
// float and takes the row's weight.
#include "processing/sampling_avx512.h"

namespace veyrin {
namespace {

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

/// The weighted sums of a group's rows.
template <typename Format, bool words = Format::words>
class Sums;

/// Bytes: a lane takes the products with all limbs, the highest first, and is moved up in between.
template <typename Format>
class Sums<Format, false> {
 public:
  Sums(const LanczosWeights& weights, const Group& group) {
    for (int limb = 0; limb < byte_limb_count; ++limb)
      for (int half = 0; half < 2; ++half)
        limbs_[limb][half] = look_up(weights.byte_limbs[limb][half], group.x);
  }

  void add(const __m512i (&taps)[rows_at_once][2], const __m512 (&row_weights)[rows_at_once]) {
    __m512i sums[rows_at_once];
    for (__m512i& sum : sums) sum = _mm512_setzero_si512();
    for (int limb = 0; limb < byte_limb_count; ++limb) {
      for (int half = 0; half < 2; ++half)
        for (int row = 0; row < rows_at_once; ++row)
          sums[row] = _mm512_dpbusd_epi32(sums[row], taps[row][half], limbs_[limb][half]);
      if (limb + 1 < byte_limb_count)
        for (__m512i& sum : sums) sum = _mm512_slli_epi32(sum, byte_limb_bits);
    }
    for (int row = 0; row < rows_at_once; ++row)
      total_ = _mm512_fmadd_ps(_mm512_cvtepi32_ps(sums[row]), row_weights[row], total_);
  }

  [[nodiscard]] __m512 values() const {
    return _mm512_mul_ps(total_, _mm512_set1_ps(1.0F / (1 << byte_weight_bits)));
  }

 private:
  __m512i limbs_[byte_limb_count][2];
  __m512 total_ = _mm512_setzero_ps();
};

/// Words: the products with both limbs would not fit into a lane, so these are added up apart.
template <typename Format>
class Sums<Format, true> {
 public:
  Sums(const LanczosWeights& weights, const Group& group) {
    // A neighbourhood's first four taps and its last four are summed in different lanes.
    constexpr __mmask16 last_taps = Format::outputs == 8 ? 0xFF00 : 0xF0F0;
    for (int limb = 0; limb < word_limb_count; ++limb) {
      const auto& taps = weights.word_limbs[limb];
      for (int half = 0; half < 2; ++half)
        limbs_[limb][half] = _mm512_mask_blend_epi32(last_taps, look_up(taps[half], group.x),
                                                     look_up(taps[half + 2], group.x));
      begins_[limb] = _mm512_setzero_si512();
      if constexpr (Format::storage == SampleStorage::bits_16) {
        // What the samples were moved down by, the sums are moved up.
        const __m512i moved = _mm512_set1_epi16(INT16_MIN);
        const __m512i first = _mm512_dpwssd_epi32(_mm512_setzero_si512(), moved, limbs_[limb][0]);
        begins_[limb] = _mm512_sub_epi32(begins_[limb], _mm512_dpwssd_epi32(first, moved, limbs_[limb][1]));
      }
      totals_[limb] = _mm512_setzero_ps();
    }
  }

  void add(const __m512i (&taps)[rows_at_once][2], const __m512 (&row_weights)[rows_at_once]) {
    __m512i sums[word_limb_count][rows_at_once];
    for (int half = 0; half < 2; ++half)
      for (int limb = 0; limb < word_limb_count; ++limb)
        for (int row = 0; row < rows_at_once; ++row)
          sums[limb][row] = _mm512_dpwssd_epi32(half == 0 ? begins_[limb] : sums[limb][row], taps[row][half],
                                                limbs_[limb][half]);
    for (int row = 0; row < rows_at_once; ++row)
      for (int limb = 0; limb < word_limb_count; ++limb)
        totals_[limb] = _mm512_fmadd_ps(_mm512_cvtepi32_ps(sums[limb][row]), row_weights[row], totals_[limb]);
  }

  [[nodiscard]] __m512 values() const {
    const __m512 both = _mm512_fmadd_ps(totals_[0], _mm512_set1_ps(1 << word_limb_bits), totals_[1]);
    const __m512 scaled = _mm512_mul_ps(both, _mm512_set1_ps(1.0F / (1 << word_weight_bits)));
    if constexpr (Format::outputs == 8)
      return _mm512_add_ps(scaled, _mm512_shuffle_f32x4(scaled, scaled, 0b01'00'11'10));
    return _mm512_add_ps(scaled, _mm512_shuffle_f32x4(scaled, scaled, 0b10'11'00'01));
  }

 private:
  __m512i limbs_[word_limb_count][2];
  __m512i begins_[word_limb_count];
  __m512 totals_[word_limb_count];
};

template <typename Format, typename Rows>
__m512 sum_up(Rows& rows, const LanczosWeights& weights, const Group& group, Sums<Format> sums) {
  constexpr int half = Format::words ? 2 : 4;  // taps in a lane
  const __m512i first = _mm512_add_epi8(in_all_bytes(rows.places()), first_taps<Format>());
  const __m512i second = _mm512_add_epi8(first, _mm512_set1_epi8(half * Format::step));
  for (int begin = 0; begin < lanczos_taps; begin += rows_at_once) {
    __m512i taps[rows_at_once][2];
    __m512 row_weights[rows_at_once];
    for (int row = 0; row < rows_at_once; ++row) {
      const Samples samples = rows.row(begin + row);
      taps[row][0] = _mm512_permutex2var_epi8(samples.low, first, samples.high);
      taps[row][1] = _mm512_permutex2var_epi8(samples.low, second, samples.high);
      row_weights[row] = look_up(weights.by_tap[begin + row], group.y);
    }
    sums.add(taps, row_weights);
  }
  return sums.values();
}

template <typename Format>
__m512 sample_group(const RemapPosition* positions, const std::uint8_t* plane, std::ptrdiff_t stride,
                    const LanczosWeights& weights) {
  const Group group = Group::at<Format>(positions);
  const Sums<Format> sums(weights, group);
  SharedRows<Format> shared(group, plane, stride);
  if (shared.fit()) return sum_up(shared, weights, group, sums);
  SeparateRows<Format> separate(group, plane, stride);
  return sum_up(separate, weights, group, sums);
}

/// Writes the first `count` lanes. Masked stores are slow on some processors, so whole groups go without.
template <std::size_t whole>
void store_lanes(__m512 values, std::size_t count, float* out) {
  if (count < whole)
    _mm512_mask_storeu_ps(out, static_cast<__mmask16>((1U << count) - 1), values);
  else if constexpr (whole == lanes)
    _mm512_storeu_ps(out, values);
  else if constexpr (whole == lanes / 2)
    _mm256_storeu_ps(out, _mm512_castps512_ps256(values));
  else
    _mm_storeu_ps(out, _mm512_castps512_ps128(values));
}

/// Calls store(values, count, offset) for each group.
template <typename Format, typename Store>
void sample_groups(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                   std::ptrdiff_t stride, const LanczosWeights& weights, const Store& store) {
  constexpr std::size_t outputs = Format::outputs;
  RemapPosition rest[outputs];
  for (std::size_t at = 0; at < count; at += outputs) {
    const RemapPosition* group = positions + at;
    _mm_prefetch(reinterpret_cast<const char*>(group) + table_bytes_ahead, _MM_HINT_T0);
    if constexpr (outputs == lanes)
      _mm_prefetch(reinterpret_cast<const char*>(group) + table_bytes_ahead + register_bytes, _MM_HINT_T0);
    if (count - at < outputs) {
      // The last position stands in for those that a whole group lacks.
      for (std::size_t i = 0; i < outputs; ++i) rest[i] = positions[at + i < count ? at + i : count - 1];
      group = rest;
    }
    store(sample_group<Format>(group, plane, stride, weights), count - at, at);
  }
}

template <SampleStorage storage>
void sample_one(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                std::ptrdiff_t stride, const LanczosWeights& weights, float* out) {
  using Layout = Format<storage, 1>;
  sample_groups<Layout>(positions, count, plane, stride, weights,
                        [&](__m512 values, std::size_t left, std::size_t at) {
                          store_lanes<Layout::outputs>(values, left, out + at);
                        });
}

template <SampleStorage storage>
void sample_pair(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                 std::ptrdiff_t stride, const LanczosWeights& weights, float* out_first, float* out_second) {
  using Layout = Format<storage, 2>;
  sample_groups<Layout>(positions, count, plane, stride, weights,
                        [&](__m512 values, std::size_t left, std::size_t at) {
                          const __m512 second = _mm512_shuffle_f32x4(values, values, 0b01'00'11'10);
                          store_lanes<Layout::outputs>(values, left, out_first + at);
                          store_lanes<Layout::outputs>(second, left, out_second + at);
                        });
}

}  // namespace

constinit const SamplingKernels avx512_sampling = {
    {sample_one<SampleStorage::bits_8>, sample_one<SampleStorage::bits_16>,
     sample_one<SampleStorage::bits_16_high>},
    {sample_pair<SampleStorage::bits_8>, sample_pair<SampleStorage::bits_16>,
     sample_pair<SampleStorage::bits_16_high>},
};

}  // namespace veyrin
