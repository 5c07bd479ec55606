// The sampling kernels for AVX2 with FMA. Compiled with those instruction sets, so nothing but intrinsics and
// the contract may be included: an inline library function compiled here could be the copy that other files
// get.
//
// Rows first: the eight samples of each row times the row's weight, added up as eight column sums; then the
// column weights; then the eight lanes of several outputs are added up together. What limits the speed is how
// many outputs the processor has in flight, so addresses and weights are worked out for a whole chunk
// beforehand and fetched one output ahead, and the rows run in two independent chains.
#include <immintrin.h>

#include "processing/sampling_kernels.h"

namespace veyrin {
namespace {

constexpr std::size_t lanes = 8;
constexpr std::size_t chunk_size = 128;

// How far ahead the caches are filled: the table is read once per frame, and the rows below the present
// neighbourhoods are what the next output rows need. Prefetching past the end of either is harmless.
constexpr std::size_t table_bytes_ahead = 2048;
constexpr std::ptrdiff_t source_rows_ahead = 10;

template <SampleStorage storage>
constexpr int sample_bytes = storage == SampleStorage::bits_8 ? 1 : 2;

/// Where each output of a chunk finds its samples and weights. One more entry than outputs, for fetching
/// ahead.
struct Chunk {
  alignas(32) std::int32_t samples[chunk_size + lanes];      ///< bytes from the plane's first sample
  alignas(32) std::int32_t row_weights[chunk_size + lanes];  ///< index into LanczosWeights::rows as one array
  alignas(32) std::int32_t
      column_weights[chunk_size + lanes];  ///< index into the column weights as one array
};

/// `channels` is 1, or 2 for interleaved pairs.
template <SampleStorage storage, int channels>
void locate_eight(const RemapPosition* positions, std::ptrdiff_t stride, Chunk& chunk, std::size_t at) {
  constexpr int pairs_in_order = 0b11'01'10'00;
  const auto* pairs = reinterpret_cast<const float*>(positions);
  const __m256 low = _mm256_loadu_ps(pairs);
  const __m256 high = _mm256_loadu_ps(pairs + lanes);
  const auto columns_of_lanes = [](__m256 mixed) {
    return _mm256_permute4x64_epi64(_mm256_castps_si256(mixed), pairs_in_order);
  };
  const __m256i x = columns_of_lanes(_mm256_shuffle_ps(low, high, 0b10'00'10'00));
  const __m256i y = columns_of_lanes(_mm256_shuffle_ps(low, high, 0b11'01'11'01));

  const __m256i before = _mm256_set1_epi32(lanczos_taps_before);
  const __m256i first_x = _mm256_sub_epi32(_mm256_srai_epi32(x, phase_bits), before);
  const __m256i first_y = _mm256_sub_epi32(_mm256_srai_epi32(y, phase_bits), before);
  const __m256i row_bytes = _mm256_mullo_epi32(first_y, _mm256_set1_epi32(static_cast<std::int32_t>(stride)));
  const __m256i column_bytes =
      _mm256_mullo_epi32(first_x, _mm256_set1_epi32(sample_bytes<storage> * channels));
  const __m256i phase_mask = _mm256_set1_epi32(phase_count - 1);
  const __m256i column_weight =
      _mm256_mullo_epi32(_mm256_and_si256(x, phase_mask), _mm256_set1_epi32(lanczos_taps * channels));
  const __m256i row_weight =
      _mm256_mullo_epi32(_mm256_and_si256(y, phase_mask), _mm256_set1_epi32(lanczos_taps * lanczos_taps));
  _mm256_store_si256(reinterpret_cast<__m256i*>(chunk.samples + at),
                     _mm256_add_epi32(row_bytes, column_bytes));
  _mm256_store_si256(reinterpret_cast<__m256i*>(chunk.row_weights + at), row_weight);
  _mm256_store_si256(reinterpret_cast<__m256i*>(chunk.column_weights + at), column_weight);
}

/// Fills a chunk; the last position stands in for what a whole group of eight, and the fetch ahead, lack.
template <SampleStorage storage, int channels>
void locate(const RemapPosition* positions, std::size_t count, std::ptrdiff_t stride, Chunk& chunk) {
  for (std::size_t at = 0; at < count + lanes; at += lanes) {
    if (at + lanes <= count) {
      _mm_prefetch(reinterpret_cast<const char*>(positions + at) + table_bytes_ahead, _MM_HINT_T0);
      locate_eight<storage, channels>(positions + at, stride, chunk, at);
      continue;
    }
    RemapPosition rest[lanes];
    for (std::size_t lane = 0; lane < lanes; ++lane)
      rest[lane] = positions[at + lane < count ? at + lane : count - 1];
    locate_eight<storage, channels>(rest, stride, chunk, at);
  }
}

void prefetch_below(const std::uint8_t* samples, std::ptrdiff_t stride) {
  _mm_prefetch(reinterpret_cast<const char*>(samples + source_rows_ahead * stride), _MM_HINT_T0);
}

/// What one output is computed from.
struct Window {
  const std::uint8_t* samples;
  const float* row_weights;
  const float* column_weights;
};

/// Hands out the windows of a chunk in order.
class WindowReader {
 public:
  WindowReader(const Chunk& chunk, const std::uint8_t* plane, const float* row_weights,
               const float* column_weights)
      : chunk_(chunk),
        plane_(plane),
        row_weights_(row_weights),
        column_weights_(column_weights),
        ahead_(at(0)) {}

  Window next() {
    const Window window = ahead_;
    ahead_ = at(++index_);
    return window;
  }

 private:
  [[nodiscard]] Window at(std::size_t index) const {
    return {plane_ + chunk_.samples[index], row_weights_ + chunk_.row_weights[index],
            column_weights_ + chunk_.column_weights[index]};
  }

  const Chunk& chunk_;
  const std::uint8_t* plane_;
  const float* row_weights_;
  const float* column_weights_;
  std::size_t index_ = 0;
  Window ahead_;
};

/// Eight neighbouring samples, high-aligned ones as they are stored.
template <SampleStorage storage>
__m256 load_row(const std::uint8_t* at) {
  const auto* bytes = reinterpret_cast<const __m128i*>(at);
  if constexpr (storage == SampleStorage::bits_8) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(bytes)));
  } else {
    return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128(bytes)));
  }
}

__m256 row_weight(const Window& window, std::ptrdiff_t row) {
  return _mm256_load_ps(window.row_weights + row * lanczos_taps);
}

/// Eight partial sums, one per column of the neighbourhood; their total is the sampled value.
template <SampleStorage storage>
__m256 column_sums(const Window& window, std::ptrdiff_t stride) {
  const std::uint8_t* row = window.samples;
  __m256 even = _mm256_mul_ps(load_row<storage>(row), row_weight(window, 0));
  __m256 odd = _mm256_mul_ps(load_row<storage>(row + stride), row_weight(window, 1));
  for (int ky = 2; ky < lanczos_taps; ky += 2) {
    row += 2 * stride;
    even = _mm256_fmadd_ps(load_row<storage>(row), row_weight(window, ky), even);
    odd = _mm256_fmadd_ps(load_row<storage>(row + stride), row_weight(window, ky + 1), odd);
  }
  return _mm256_mul_ps(_mm256_add_ps(even, odd), _mm256_load_ps(window.column_weights));
}

/// Four partial sums for each channel, first and second in turns.
template <SampleStorage storage>
__m256 pair_column_sums(const Window& window, std::ptrdiff_t stride) {
  constexpr std::ptrdiff_t half = lanes * sample_bytes<storage>;
  const std::uint8_t* row = window.samples;
  __m256 left = _mm256_mul_ps(load_row<storage>(row), row_weight(window, 0));
  __m256 right = _mm256_mul_ps(load_row<storage>(row + half), row_weight(window, 0));
  for (int ky = 1; ky < lanczos_taps; ++ky) {
    row += stride;
    left = _mm256_fmadd_ps(load_row<storage>(row), row_weight(window, ky), left);
    right = _mm256_fmadd_ps(load_row<storage>(row + half), row_weight(window, ky), right);
  }
  return _mm256_fmadd_ps(left, _mm256_load_ps(window.column_weights),
                         _mm256_mul_ps(right, _mm256_load_ps(window.column_weights + lanes)));
}

/// Lane i of the result is the total of the eight lanes of argument i.
__m256 totals(__m256 s0, __m256 s1, __m256 s2, __m256 s3, __m256 s4, __m256 s5, __m256 s6, __m256 s7) {
  const __m256 low = _mm256_hadd_ps(_mm256_hadd_ps(s0, s1), _mm256_hadd_ps(s2, s3));
  const __m256 high = _mm256_hadd_ps(_mm256_hadd_ps(s4, s5), _mm256_hadd_ps(s6, s7));
  return _mm256_add_ps(_mm256_blend_ps(low, high, 0b1111'0000), _mm256_permute2f128_ps(low, high, 0x21));
}

/// Lanes i and 4 + i of the result are the totals of the two channels of argument i.
__m256 pair_totals(__m256 s0, __m256 s1, __m256 s2, __m256 s3) {
  const auto halved = [](__m256 a, __m256 b) {
    const __m256d first = _mm256_castps_pd(a);
    const __m256d second = _mm256_castps_pd(b);
    return _mm256_add_ps(_mm256_castpd_ps(_mm256_unpacklo_pd(first, second)),
                         _mm256_castpd_ps(_mm256_unpackhi_pd(first, second)));
  };
  const __m256 low = halved(s0, s1);
  const __m256 high = halved(s2, s3);
  const __m256 turns =
      _mm256_add_ps(_mm256_blend_ps(low, high, 0b1111'0000), _mm256_permute2f128_ps(low, high, 0x21));
  return _mm256_permutevar8x32_ps(turns, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
}

/// Sums of high-aligned samples as they are stored have the digits of the sums of their values: a power of
/// two changes no rounding.
template <SampleStorage storage>
__m256 in_codes(__m256 sums) {
  if constexpr (storage != SampleStorage::bits_16_high) return sums;
  return _mm256_mul_ps(sums, _mm256_set1_ps(high_alignment_scale));
}

/// Writes the first `count` lanes. Masked stores are slow on some processors, so whole registers go without.
void store_lanes(__m256 values, std::size_t count, float* out) {
  if (count >= lanes) {
    _mm256_storeu_ps(out, values);
    return;
  }
  const __m256i index = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
  _mm256_maskstore_ps(out, _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(count)), index), values);
}

void store_lanes(__m128 values, std::size_t count, float* out) {
  if (count >= lanes / 2) {
    _mm_storeu_ps(out, values);
    return;
  }
  const __m128i index = _mm_setr_epi32(0, 1, 2, 3);
  _mm_maskstore_ps(out, _mm_cmpgt_epi32(_mm_set1_epi32(static_cast<int>(count)), index), values);
}

template <SampleStorage storage>
void sample_one(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                std::ptrdiff_t stride, const LanczosWeights& weights, float* out) {
  Chunk chunk;
  for (std::size_t begin = 0; begin < count; begin += chunk_size) {
    const std::size_t size = count - begin < chunk_size ? count - begin : chunk_size;
    locate<storage, 1>(positions + begin, size, stride, chunk);
    WindowReader windows(chunk, plane, &weights.rows[0][0][0], &weights.taps[0][0]);
    const auto next = [&] { return column_sums<storage>(windows.next(), stride); };
    for (std::size_t at = 0; at < size; at += lanes) {
      prefetch_below(plane + chunk.samples[at], stride);
      const __m256 sums[] = {next(), next(), next(), next(), next(), next(), next(), next()};
      const __m256 values = totals(sums[0], sums[1], sums[2], sums[3], sums[4], sums[5], sums[6], sums[7]);
      store_lanes(in_codes<storage>(values), size - at, out + begin + at);
    }
  }
}

template <SampleStorage storage>
void sample_pair(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                 std::ptrdiff_t stride, const LanczosWeights& weights, float* out_first, float* out_second) {
  constexpr std::size_t group = lanes / 2;
  Chunk chunk;
  for (std::size_t begin = 0; begin < count; begin += chunk_size) {
    const std::size_t size = count - begin < chunk_size ? count - begin : chunk_size;
    locate<storage, 2>(positions + begin, size, stride, chunk);
    WindowReader windows(chunk, plane, &weights.rows[0][0][0], &weights.pair_taps[0][0][0]);
    const auto next = [&] { return pair_column_sums<storage>(windows.next(), stride); };
    for (std::size_t at = 0; at < size; at += group) {
      prefetch_below(plane + chunk.samples[at], stride);
      const __m256 sums[] = {next(), next(), next(), next()};
      const __m256 values = in_codes<storage>(pair_totals(sums[0], sums[1], sums[2], sums[3]));
      store_lanes(_mm256_castps256_ps128(values), size - at, out_first + begin + at);
      store_lanes(_mm256_extractf128_ps(values, 1), size - at, out_second + begin + at);
    }
  }
}

}  // namespace

constinit const SamplingKernels avx2_sampling = {
    {sample_one<SampleStorage::bits_8>, sample_one<SampleStorage::bits_16>,
     sample_one<SampleStorage::bits_16_high>},
    {sample_pair<SampleStorage::bits_8>, sample_pair<SampleStorage::bits_16>,
     sample_pair<SampleStorage::bits_16_high>},
};

}  // namespace veyrin
