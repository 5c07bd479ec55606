// How the AVX-512 kernels bring samples into their lanes. Holds intrinsics only, and only files compiled for
// AVX-512 include it.
//
// A group is 16 outputs of single bytes, or eight of pairs of them. Neighbouring outputs share
// most of their samples: windows on the source, which hold all the neighbourhoods, are loaded row by row, and
// a byte permutation brings every lane its taps. One window fits most groups, two fit those that are far
// apart in the source, as in pictures made smaller. Where neither fits, neighbourhoods are loaded one by one.
// All of this changes what is loaded and never what is summed.
#pragma once

#include <immintrin.h>

#include "processing/avx512_groups.h"
#include "processing/sampling_kernels.h"

namespace veyrin {
namespace {

// The rows below the present neighbourhoods are what the next output rows need. Prefetching past the plane's
// end is harmless.
constexpr std::ptrdiff_t source_rows_ahead = 14;

/// What follows from the bytes from position to position: 1 of single bytes, 2 of pairs.
template <int position_bytes>
struct Shape {
  static constexpr int outputs = static_cast<int>(lanes) / position_bytes;
  static constexpr int row_bytes = lanczos_taps * position_bytes;  ///< a neighbourhood's in a row
};

/// Two registers that a byte permutation chooses from.
struct Samples {
  __m512i low;
  __m512i high;
};

/// The output that each lane belongs to.
template <int position_bytes>
__m512i outputs_of_lanes() {
  return _mm512_and_si512(lane_numbers(), _mm512_set1_epi32(Shape<position_bytes>::outputs - 1));
}

/// The positions of a group.
struct Group {
  const RemapPosition* positions;
  __m512i x;  ///< by lane
  __m512i y;

  template <int position_bytes>
  static Group at(const RemapPosition* positions) {
    const __m512i output = outputs_of_lanes<position_bytes>();
    const __m512i index_x = _mm512_add_epi32(output, output);
    const __m512i index_y = _mm512_add_epi32(index_x, _mm512_set1_epi32(1));
    const __m512i low = _mm512_loadu_si512(positions);
    if constexpr (position_bytes == 2)
      return {positions, _mm512_permutexvar_epi32(index_x, low), _mm512_permutexvar_epi32(index_y, low)};
    const __m512i high = _mm512_loadu_si512(positions + lanes / 2);
    return {positions, _mm512_permutex2var_epi32(low, index_x, high),
            _mm512_permutex2var_epi32(low, index_y, high)};
  }
};

/// What lies between two positions, theirs included, in whole samples.
struct Span {
  std::int32_t left;
  std::int32_t top;
  std::int32_t columns;  ///< beyond the left one
  std::int32_t rows;

  Span(RemapPosition first, RemapPosition last)
      : left((first.x < last.x ? first.x : last.x) >> phase_bits),
        top((first.y < last.y ? first.y : last.y) >> phase_bits),
        columns(((first.x < last.x ? last.x : first.x) >> phase_bits) - left),
        rows(((first.y < last.y ? last.y : first.y) >> phase_bits) - top) {}
};

/// The source rows of all neighbourhoods in a span, two in a register.
template <int position_bytes>
class Window {
 public:
  static constexpr int bytes = register_bytes / 2;  ///< of a row
  static constexpr int most_columns = (bytes - Shape<position_bytes>::row_bytes) / position_bytes;

  Window(const Span& span, const std::uint8_t* plane, std::ptrdiff_t stride)
      : first_(plane + (span.top - lanczos_taps_before) * stride +
               static_cast<std::ptrdiff_t>(span.left - lanczos_taps_before) * position_bytes),
        stride_(stride),
        last_row_(lanczos_taps - 1 + span.rows),
        wanted_(span.columns <= most_columns ? ~0U >> ((most_columns - span.columns) * position_bytes) : 0) {}

  /// Row `row` of the neighbourhoods that begin at the top, and the one below.
  [[nodiscard]] __m512i load(int row) const {
    return _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_maskz_loadu_epi8(wanted_, at(row))),
                              _mm256_maskz_loadu_epi8(wanted_, at(row + 1)), 1);
  }

  void prefetch_below() const {
    _mm_prefetch(reinterpret_cast<const char*>(first_ + source_rows_ahead * stride_), _MM_HINT_T0);
  }

 private:
  /// Rows that no neighbourhood has are replaced by the last one, for they need not exist.
  [[nodiscard]] const std::uint8_t* at(int row) const {
    const std::ptrdiff_t index = row < lanczos_taps || row < last_row_ ? row : last_row_;
    return first_ + index * stride_;
  }

  const std::uint8_t* first_;
  std::ptrdiff_t stride_;
  std::int32_t last_row_;
  __mmask32 wanted_;
};

/// One window of four rows for the whole group, whose neighbourhoods may begin in the first `most_rows`.
template <int position_bytes, int most_rows>
class OneWindow {
 public:
  /// The samples for a row hold those for the row below as well.
  static constexpr bool holds_next_row = most_rows < 4;

  OneWindow(const Group& group, const std::uint8_t* plane, std::ptrdiff_t stride)
      : span_(group.positions[0], group.positions[Shape<position_bytes>::outputs - 1]),
        window_(span_, plane, stride),
        column_(_mm512_sub_epi32(_mm512_srai_epi32(group.x, phase_bits), _mm512_set1_epi32(span_.left))),
        row_(_mm512_sub_epi32(_mm512_srai_epi32(group.y, phase_bits), _mm512_set1_epi32(span_.top))) {
    window_.prefetch_below();
  }

  /// Not when positions lie outside the span of the first and the last, either.
  [[nodiscard]] bool fits() const {
    return span_.columns <= Window<position_bytes>::most_columns && span_.rows < most_rows &&
           (_mm512_cmpgt_epu32_mask(column_, _mm512_set1_epi32(span_.columns)) |
            _mm512_cmpgt_epu32_mask(row_, _mm512_set1_epi32(span_.rows))) == 0;
  }

  /// Where in the samples each lane's neighbourhood begins.
  [[nodiscard]] __m512i places() const {
    return _mm512_add_epi32(position_bytes == 2 ? _mm512_slli_epi32(column_, 1) : column_,
                            _mm512_slli_epi32(row_, 5));
  }

  /// The samples for a row of the neighbourhoods. The rows are taken in order.
  [[nodiscard]] Samples take(int row) {
    if (row == 0) {
      loaded_[0] = window_.load(0);
      loaded_[1] = window_.load(1);
    }
    loaded_[row + 2] = window_.load(row + 2);
    return {loaded_[row], loaded_[row + 2]};
  }

 private:
  Span span_;
  Window<position_bytes> window_;
  __m512i column_;
  __m512i row_;
  __m512i loaded_[lanczos_taps + 2];
};

/// A window of two rows for either half of the group.
template <int position_bytes>
class TwoWindows {
 public:
  static constexpr bool holds_next_row = false;

  TwoWindows(const Group& group, const std::uint8_t* plane, std::ptrdiff_t stride)
      : spans_{{group.positions[0], group.positions[half - 1]},
               {group.positions[half], group.positions[2 * half - 1]}},
        windows_{{spans_[0], plane, stride}, {spans_[1], plane, stride}},
        column_(_mm512_sub_epi32(_mm512_srai_epi32(group.x, phase_bits), by_half(&Span::left))),
        row_(_mm512_sub_epi32(_mm512_srai_epi32(group.y, phase_bits), by_half(&Span::top))) {
    windows_[0].prefetch_below();
    windows_[1].prefetch_below();
  }

  [[nodiscard]] bool fits() const {
    constexpr int most = Window<position_bytes>::most_columns;
    return spans_[0].columns <= most && spans_[1].columns <= most && spans_[0].rows < 2 &&
           spans_[1].rows < 2 &&
           (_mm512_cmpgt_epu32_mask(column_, by_half(&Span::columns)) |
            _mm512_cmpgt_epu32_mask(row_, by_half(&Span::rows))) == 0;
  }

  [[nodiscard]] __m512i places() const {
    const __m512i half_place = _mm512_maskz_set1_epi32(second_half, register_bytes);
    return _mm512_add_epi32(
        _mm512_add_epi32(position_bytes == 2 ? _mm512_slli_epi32(column_, 1) : column_, half_place),
        _mm512_slli_epi32(row_, 5));
  }

  [[nodiscard]] Samples take(int row) { return {windows_[0].load(row), windows_[1].load(row)}; }

 private:
  static constexpr int half = Shape<position_bytes>::outputs / 2;
  static constexpr __mmask16 second_half =
      position_bytes == 2 ? 0b1111'0000'1111'0000 : 0b1111'1111'0000'0000;

  [[nodiscard]] __m512i by_half(std::int32_t Span::*member) const {
    return _mm512_mask_set1_epi32(_mm512_set1_epi32(spans_[0].*member), second_half, spans_[1].*member);
  }

  Span spans_[2];
  Window<position_bytes> windows_[2];
  __m512i column_;
  __m512i row_;
};

/// The neighbourhoods themselves side by side.
template <int position_bytes>
class Neighbourhoods {
 public:
  static constexpr bool holds_next_row = false;

  Neighbourhoods(const Group& group, const std::uint8_t* plane, std::ptrdiff_t stride)
      : plane_(plane), stride_(stride) {
    const __m512i before = _mm512_set1_epi32(lanczos_taps_before);
    const __m512i column = _mm512_sub_epi32(_mm512_srai_epi32(group.x, phase_bits), before);
    const __m512i row = _mm512_sub_epi32(_mm512_srai_epi32(group.y, phase_bits), before);
    const __m512i row_bytes = _mm512_mullo_epi32(row, _mm512_set1_epi32(static_cast<std::int32_t>(stride)));
    _mm512_store_si512(
        offsets_, _mm512_add_epi32(row_bytes, position_bytes == 2 ? _mm512_slli_epi32(column, 1) : column));
  }

  [[nodiscard]] __m512i places() const {
    return _mm512_slli_epi32(outputs_of_lanes<position_bytes>(), position_bytes == 2 ? 4 : 3);
  }

  [[nodiscard]] Samples take(int row) const {
    return {load(row, 0), load(row, Shape<position_bytes>::outputs / 2)};
  }

 private:
  [[nodiscard]] __m512i load(int row, int output) const {
    constexpr int quarter = Shape<position_bytes>::outputs / 8;
    const auto load_half = [&](int first) {
      return _mm256_inserti128_si256(_mm256_castsi128_si256(load_quarter(row, first)),
                                     load_quarter(row, first + quarter), 1);
    };
    return _mm512_inserti64x4(_mm512_castsi256_si512(load_half(output)), load_half(output + 2 * quarter), 1);
  }
  [[nodiscard]] __m128i load_quarter(int row, int output) const {
    const std::uint8_t* first = plane_ + offsets_[output] + row * stride_;
    if constexpr (position_bytes == 2) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
    const std::uint8_t* second = plane_ + offsets_[output + 1] + row * stride_;
    return _mm_castpd_si128(_mm_loadh_pd(_mm_load_sd(reinterpret_cast<const double*>(first)),
                                         reinterpret_cast<const double*>(second)));
  }

  const std::uint8_t* plane_;
  std::ptrdiff_t stride_;
  alignas(register_bytes) std::int32_t offsets_[lanes];
};

/// Calls sum(rows) with the first kind of rows that fits, and returns its result.
template <int position_bytes, int most_rows, typename Sum>
__m512 in_rows(const Group& group, const std::uint8_t* plane, std::ptrdiff_t stride, const Sum& sum) {
  OneWindow<position_bytes, most_rows> one(group, plane, stride);
  if (one.fits()) return sum(one);
  TwoWindows<position_bytes> two(group, plane, stride);
  if (two.fits()) return sum(two);
  Neighbourhoods<position_bytes> separate(group, plane, stride);
  return sum(separate);
}

}  // namespace
}  // namespace veyrin
