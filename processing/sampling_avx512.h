// How the AVX-512 kernels bring samples into their lanes. Holds intrinsics only and is included by files
// compiled for AVX-512 alone.
//
// Neighbouring outputs share most of their samples. A group of them loads each source row once; for each of
// its eight rows a byte permutation then brings every lane its taps. Where the neighbourhoods do not fit into
// what is loaded at once, they are loaded output by output.
//
// A lane sums eight bytes or four words: a group has 16 outputs of single bytes, eight of pairs of bytes or
// of single words, four of pairs of words.
#pragma once

#include <immintrin.h>

#include "processing/sampling_kernels.h"

namespace veyrin {
namespace {

constexpr std::size_t lanes = 16;
constexpr int lane_bytes = 4;
constexpr int register_bytes = 64;

// How far ahead the caches are filled: the table is read once per frame, and the rows below the present
// neighbourhoods are what the next output rows need. Prefetching past the end of either is harmless.
constexpr std::size_t table_bytes_ahead = 2048;
constexpr std::ptrdiff_t source_rows_ahead = 14;

template <SampleStorage storage_, int channels_>
struct Format {
  static constexpr SampleStorage storage = storage_;
  static constexpr bool words = storage != SampleStorage::bits_8;
  static constexpr int channels = channels_;
  static constexpr int step = (words ? 2 : 1) * channels;  ///< bytes from position to position
  static constexpr int row_bytes = lanczos_taps * step;    ///< a neighbourhood's in a row
  static constexpr std::size_t outputs = lanes / step;     ///< in a group

  // A row is loaded as so many bytes, and the permutations choose from so many rows.
  static constexpr int window_bytes = channels == 2 && words ? register_bytes : register_bytes / 2;
  static constexpr int window_rows = 2 * register_bytes / window_bytes;
  static constexpr int widest =
      (window_bytes - row_bytes) / step;  ///< positions between first and last column
};

/// Two registers that a byte permutation chooses from.
struct Samples {
  __m512i low;
  __m512i high;
};

/// The positions of a group's outputs, each in all its lanes, and what the first and the last of them span.
struct Group {
  template <typename Format>
  static Group at(const RemapPosition* positions) {
    constexpr int in_one_register = register_bytes / static_cast<int>(sizeof(RemapPosition));
    const __m512i lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m512i output = _mm512_and_si512(lane, _mm512_set1_epi32(Format::outputs - 1));
    const __m512i index_x = _mm512_add_epi32(output, output);
    const __m512i index_y = _mm512_add_epi32(index_x, _mm512_set1_epi32(1));
    const RemapPosition first = positions[0];
    const RemapPosition last = positions[Format::outputs - 1];
    Group group;
    group.left = (first.x < last.x ? first.x : last.x) >> phase_bits;
    group.top = (first.y < last.y ? first.y : last.y) >> phase_bits;
    group.columns = ((first.x < last.x ? last.x : first.x) >> phase_bits) - group.left;
    group.rows = ((first.y < last.y ? last.y : first.y) >> phase_bits) - group.top;
    if constexpr (Format::outputs > in_one_register) {
      const __m512i low = _mm512_loadu_si512(positions);
      const __m512i high = _mm512_loadu_si512(positions + in_one_register);
      group.x = _mm512_permutex2var_epi32(low, index_x, high);
      group.y = _mm512_permutex2var_epi32(low, index_y, high);
    } else {
      constexpr __mmask16 used = (1U << (2 * Format::outputs)) - 1;
      const __m512i all = _mm512_maskz_loadu_epi32(used, positions);
      group.x = _mm512_permutexvar_epi32(index_x, all);
      group.y = _mm512_permutexvar_epi32(index_y, all);
    }
    return group;
  }

  __m512i x;
  __m512i y;
  std::int32_t left;
  std::int32_t top;
  std::int32_t columns;
  std::int32_t rows;
};

/// VNNI takes words as signed numbers: those of ten bits are brought down to their values, others, which may
/// use all sixteen, are moved down by half the range.
template <typename Format>
__m512i prepared(__m512i samples) {
  if constexpr (Format::storage == SampleStorage::bits_16_high)
    return _mm512_srli_epi16(samples, high_alignment_shift);
  if constexpr (Format::storage == SampleStorage::bits_16)
    return _mm512_xor_si512(samples, _mm512_set1_epi16(INT16_MIN));
  return samples;
}

/// For each lane, the places of the first half of its taps behind its neighbourhood's first byte.
template <typename Format>
__m512i first_taps() {
  struct Places {
    constexpr Places() {
      for (int lane = 0; lane < static_cast<int>(lanes); ++lane)
        for (int byte = 0; byte < lane_bytes; ++byte) {
          const int part = lane / static_cast<int>(Format::outputs);
          const int channel = Format::words ? part / 2 : part;
          const int tap = Format::words ? part % 2 * 4 + byte / 2 : byte;
          const int within = Format::words ? channel * 2 + byte % 2 : channel;
          bytes[lane * lane_bytes + byte] = static_cast<std::uint8_t>(tap * Format::step + within);
        }
    }
    alignas(register_bytes) std::uint8_t bytes[register_bytes] = {};
  };
  static constexpr Places places;
  return _mm512_load_si512(places.bytes);
}

/// Repeats the lowest byte of each lane.
__m512i in_all_bytes(__m512i values) {
  return _mm512_shuffle_epi8(values, _mm512_set4_epi32(0x0C0C0C0C, 0x08080808, 0x04040404, 0));
}

/// Source rows that all outputs of a group find their taps in.
template <typename Format>
class SharedRows {
 public:
  SharedRows(const Group& group, const std::uint8_t* plane, std::ptrdiff_t stride)
      : first_(plane + (group.top - lanczos_taps_before) * stride +
               static_cast<std::ptrdiff_t>(group.left - lanczos_taps_before) * Format::step),
        stride_(stride),
        last_row_(lanczos_taps - 1 + group.rows),
        wanted_(~std::uint64_t{0} >> (register_bytes - Format::row_bytes - group.columns * Format::step)),
        column_(_mm512_sub_epi32(_mm512_srai_epi32(group.x, phase_bits), _mm512_set1_epi32(group.left))),
        row_(_mm512_sub_epi32(_mm512_srai_epi32(group.y, phase_bits), _mm512_set1_epi32(group.top))),
        fits_(group.columns <= Format::widest && group.rows < Format::window_rows &&
              (_mm512_cmpgt_epu32_mask(column_, _mm512_set1_epi32(group.columns)) |
               _mm512_cmpgt_epu32_mask(row_, _mm512_set1_epi32(group.rows))) == 0) {
    _mm_prefetch(reinterpret_cast<const char*>(first_ + source_rows_ahead * stride), _MM_HINT_T0);
  }

  [[nodiscard]] bool fit() const { return fits_; }

  /// Where in the samples each lane's neighbourhood begins.
  [[nodiscard]] __m512i places() const {
    return _mm512_add_epi32(_mm512_mullo_epi32(column_, _mm512_set1_epi32(Format::step)),
                            _mm512_mullo_epi32(row_, _mm512_set1_epi32(Format::window_bytes)));
  }

  /// The samples for row `row` of the neighbourhoods; rows are asked for in order.
  [[nodiscard]] Samples row(int row) {
    constexpr int ahead = Format::window_rows / 2;
    if (row == 0)
      for (int index = 0; index < ahead; ++index) loaded_[index] = load(index);
    loaded_[row + ahead] = load(row + ahead);
    return {loaded_[row], loaded_[row + ahead]};
  }

 private:
  [[nodiscard]] const std::uint8_t* at(int row) const {
    const std::ptrdiff_t index = row < lanczos_taps || row < last_row_ ? row : last_row_;
    return first_ + index * stride_;
  }
  [[nodiscard]] __m512i load(int row) const {
    if constexpr (Format::window_bytes == register_bytes)
      return prepared<Format>(_mm512_maskz_loadu_epi8(wanted_, at(row)));
    const auto wanted = static_cast<__mmask32>(wanted_);
    return prepared<Format>(
        _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_maskz_loadu_epi8(wanted, at(row))),
                           _mm256_maskz_loadu_epi8(wanted, at(row + 1)), 1));
  }

  const std::uint8_t* first_;
  std::ptrdiff_t stride_;
  std::int32_t last_row_;
  std::uint64_t wanted_;
  __m512i column_;
  __m512i row_;
  bool fits_;
  __m512i loaded_[lanczos_taps + Format::window_rows / 2];
};

/// The neighbourhoods of a group side by side, whatever lies between them.
template <typename Format>
class SeparateRows {
 public:
  SeparateRows(const Group& group, const std::uint8_t* plane, std::ptrdiff_t stride)
      : plane_(plane), stride_(stride) {
    const __m512i before = _mm512_set1_epi32(lanczos_taps_before);
    const __m512i column = _mm512_sub_epi32(_mm512_srai_epi32(group.x, phase_bits), before);
    const __m512i row = _mm512_sub_epi32(_mm512_srai_epi32(group.y, phase_bits), before);
    const __m512i stride_lanes = _mm512_set1_epi32(static_cast<std::int32_t>(stride));
    _mm512_store_si512(offsets_,
                       _mm512_add_epi32(_mm512_mullo_epi32(row, stride_lanes),
                                        _mm512_mullo_epi32(column, _mm512_set1_epi32(Format::step))));
  }

  [[nodiscard]] __m512i places() const {
    const __m512i lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm512_mullo_epi32(_mm512_and_si512(lane, _mm512_set1_epi32(Format::outputs - 1)),
                              _mm512_set1_epi32(Format::row_bytes));
  }

  [[nodiscard]] Samples row(int row) const {
    return {prepared<Format>(load(row, 0)), prepared<Format>(load(row, Format::outputs / 2))};
  }

 private:
  /// Half of the outputs' samples.
  [[nodiscard]] __m512i load(int row, std::size_t output) const {
    if constexpr (Format::outputs == 4) {
      return _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_loadu_si256(at<__m256i>(row, output))),
                                _mm256_loadu_si256(at<__m256i>(row, output + 1)), 1);
    } else {
      constexpr std::size_t quarter = Format::outputs / 8;
      const auto load_half = [&](std::size_t first) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(load_quarter(row, first)),
                                       load_quarter(row, first + quarter), 1);
      };
      return _mm512_inserti64x4(_mm512_castsi256_si512(load_half(output)), load_half(output + 2 * quarter),
                                1);
    }
  }
  [[nodiscard]] __m128i load_quarter(int row, std::size_t output) const {
    if constexpr (Format::row_bytes == 16) return _mm_loadu_si128(at<__m128i>(row, output));
    const __m128d low = _mm_load_sd(at<double>(row, output));
    return _mm_castpd_si128(_mm_loadh_pd(low, at<double>(row, output + 1)));
  }
  template <typename Loaded>
  [[nodiscard]] const Loaded* at(int row, std::size_t output) const {
    return reinterpret_cast<const Loaded*>(plane_ + offsets_[output] + row * stride_);
  }

  const std::uint8_t* plane_;
  std::ptrdiff_t stride_;
  alignas(register_bytes) std::int32_t offsets_[lanes];
};

}  // namespace
}  // namespace veyrin
