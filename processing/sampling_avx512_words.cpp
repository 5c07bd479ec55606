// The sampling kernels for words, without pairs, and AVX-512 with VBMI and VNNI; sampling_avx512.cpp says
// what may be included. A lane sums four times two words of a row. Upper and lower lanes work on neighbouring
// rows, and the sums with both limbs of the weights, which would be too long for one lane, are added up
// apart.
#include "processing/sampling_avx512_words.h"

#include "processing/sampling_avx512.h"

namespace veyrin {
namespace {

constexpr int position_bytes = 2;
constexpr std::size_t outputs = lanes / 2;
constexpr int tap_pairs = lanczos_taps / 2;
constexpr int row_pairs_at_once = 2;
constexpr __mmask16 upper_lanes = 0xFF00;
constexpr __mmask64 upper_bytes = 0xFFFF'FFFF'0000'0000;

/// VNNI takes words as signed numbers, so they are brought down to their ten bits.
Samples brought_down(Samples samples) {
  return {_mm512_srli_epi16(samples.low, high_alignment_shift),
          _mm512_srli_epi16(samples.high, high_alignment_shift)};
}

/// A row's weights in the lower lanes and those of the row below in the upper ones.
__m512 weights_of_rows(const LanczosWeights& weights, int row, __m512i phases) {
  const float(&lower)[phase_count] = weights.by_tap[row];
  const float(&upper)[phase_count] = weights.by_tap[row + 1];
  // Lanes that the first permutation leaves out keep their index for the second.
  const __m512 first = _mm512_mask2_permutex2var_ps(_mm512_load_ps(lower), phases, ~upper_lanes & 0xFFFF,
                                                    _mm512_load_ps(lower + lanes));
  return _mm512_mask2_permutex2var_ps(_mm512_load_ps(upper), _mm512_castps_si512(first), upper_lanes,
                                      _mm512_load_ps(upper + lanes));
}

/// Brings taps of two neighbouring rows to the lanes.
template <typename Rows>
class RowPairs {
 public:
  explicit RowPairs(Rows& rows) : rows_(rows) {
    const __m512i place = _mm512_add_epi8(in_all_bytes(rows.places()), _mm512_set1_epi32(0x03'02'01'00));
    for (int pair = 0; pair < tap_pairs; ++pair) {
      index_[pair] = _mm512_add_epi8(place, _mm512_set1_epi32(0x04040404 * pair));
      if constexpr (Rows::holds_next_row)
        index_[pair] = _mm512_mask_add_epi8(index_[pair], upper_bytes, index_[pair],
                                            _mm512_set1_epi8(Window<position_bytes>::bytes));
    }
  }

  void take(int row, __m512i (&taps)[tap_pairs]) {
    const Samples samples = brought_down(rows_.take(row));
    if constexpr (Rows::holds_next_row) {
      for (int pair = 0; pair < tap_pairs; ++pair)
        taps[pair] = _mm512_permutex2var_epi8(samples.low, index_[pair], samples.high);
    } else {
      const Samples below = brought_down(rows_.take(row + 1));
      for (int pair = 0; pair < tap_pairs; ++pair) {
        const __m512i lower =
            _mm512_mask2_permutex2var_epi8(samples.low, index_[pair], ~upper_bytes, samples.high);
        taps[pair] = _mm512_mask2_permutex2var_epi8(below.low, lower, upper_bytes, below.high);
      }
    }
  }

 private:
  Rows& rows_;
  __m512i index_[tap_pairs];
};

/// The sampled values of a group in the lower lanes.
template <typename Rows>
__m512 sum_up(Rows& rows, const Group& group, const LanczosWeights& weights) {
  RowPairs<Rows> row_pairs(rows);
  __m512i limbs[word_limb_count][tap_pairs];
  __m512 totals[word_limb_count];
  for (int limb = 0; limb < word_limb_count; ++limb) {
    for (int pair = 0; pair < tap_pairs; ++pair)
      limbs[limb][pair] = look_up(weights.word_limbs[limb][pair], group.x);
    totals[limb] = _mm512_setzero_ps();
  }

  for (int begin = 0; begin < lanczos_taps; begin += 2 * row_pairs_at_once) {
    __m512i taps[row_pairs_at_once][tap_pairs];
    __m512i sums[row_pairs_at_once][word_limb_count];
    for (int rows_index = 0; rows_index < row_pairs_at_once; ++rows_index) {
      row_pairs.take(begin + 2 * rows_index, taps[rows_index]);
      for (int limb = 0; limb < word_limb_count; ++limb) sums[rows_index][limb] = _mm512_setzero_si512();
    }
    for (int pair = 0; pair < tap_pairs; ++pair)
      for (int rows_index = 0; rows_index < row_pairs_at_once; ++rows_index)
        for (int limb = 0; limb < word_limb_count; ++limb)
          sums[rows_index][limb] =
              _mm512_dpwssd_epi32(sums[rows_index][limb], taps[rows_index][pair], limbs[limb][pair]);
    for (int rows_index = 0; rows_index < row_pairs_at_once; ++rows_index) {
      const __m512 row_weights = weights_of_rows(weights, begin + 2 * rows_index, group.y);
      for (int limb = 0; limb < word_limb_count; ++limb)
        totals[limb] = _mm512_fmadd_ps(_mm512_cvtepi32_ps(sums[rows_index][limb]), row_weights, totals[limb]);
    }
  }
  const __m512 both = _mm512_fmadd_ps(totals[0], _mm512_set1_ps(1 << word_limb_bits), totals[1]);
  const __m512 scaled = _mm512_mul_ps(both, _mm512_set1_ps(1.0F / static_cast<float>(1 << word_weight_bits)));
  return _mm512_add_ps(scaled, _mm512_shuffle_f32x4(scaled, scaled, 0b01'00'11'10));
}

}  // namespace

void sample_high_words_avx512(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                              std::ptrdiff_t stride, const LanczosWeights& weights, float* out) {
  for_each_group<outputs>(positions, count, [&](const RemapPosition* group_positions, std::size_t at) {
    const Group group = Group::at<position_bytes>(group_positions);
    const auto sum = [&](auto& rows) { return sum_up(rows, group, weights); };
    store_lanes<outputs>(in_rows<position_bytes, 3>(group, plane, stride, sum), count - at, out + at);
  });
}

}  // namespace veyrin
