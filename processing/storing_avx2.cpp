// The storing kernels for AVX2. Compiled with that instruction set, so nothing but intrinsics and the
// contract may be included: an inline library function compiled here could be the copy that other files get.
#include <immintrin.h>

#include "processing/storing_kernels.h"

namespace veyrin {
namespace {

constexpr std::size_t lanes = 8;

void average_pairs(const float* in, std::size_t count, float* out) {
  constexpr int pairs_in_order = 0b11'01'10'00;
  std::size_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    const __m256 sums = _mm256_hadd_ps(_mm256_loadu_ps(in + 2 * i), _mm256_loadu_ps(in + 2 * i + lanes));
    const __m256d ordered = _mm256_permute4x64_pd(_mm256_castps_pd(sums), pairs_in_order);
    _mm256_storeu_ps(out + i, _mm256_mul_ps(_mm256_castpd_ps(ordered), _mm256_set1_ps(0.5F)));
  }
  for (; i < count; ++i) out[i] = (in[2 * i] + in[2 * i + 1]) * 0.5F;
}

/// The codes of eight values as words.
__m128i codes(const float* in, const StoreRule& rule) {
  const __m256 source_max = _mm256_set1_ps(rule.source_max);
  __m256 value = _mm256_min_ps(_mm256_max_ps(_mm256_loadu_ps(in), _mm256_setzero_ps()), source_max);
  if (rule.max_code != rule.source_max)
    value = _mm256_div_ps(_mm256_mul_ps(_mm256_set1_ps(rule.max_code), value), source_max);
  // The rounding instructions round halves to even, so halves are told apart here.
  const __m256 whole = _mm256_floor_ps(value);
  const __m256 rounds_up = _mm256_cmp_ps(_mm256_sub_ps(value, whole), _mm256_set1_ps(0.5F), _CMP_GE_OQ);
  const __m256i rounded = _mm256_sub_epi32(_mm256_cvttps_epi32(whole), _mm256_castps_si256(rounds_up));
  const __m256i shifted = _mm256_sll_epi32(rounded, _mm_cvtsi32_si128(rule.shift));
  return _mm_packus_epi32(_mm256_castsi256_si128(shifted), _mm256_extracti128_si256(shifted, 1));
}

template <std::size_t code_bytes>
void store_eight(const float* in, const StoreRule& rule, std::uint8_t* out) {
  const __m128i words = codes(in, rule);
  if constexpr (code_bytes == 1)
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(words, words));
  else
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), words);
}

template <std::size_t code_bytes>
void store_eight_pairs(const float* in_first, const float* in_second, const StoreRule& rule,
                       std::uint8_t* out) {
  const __m128i first = codes(in_first, rule);
  const __m128i second = codes(in_second, rule);
  const __m128i low = _mm_unpacklo_epi16(first, second);
  const __m128i high = _mm_unpackhi_epi16(first, second);
  auto* target = reinterpret_cast<__m128i*>(out);
  if constexpr (code_bytes == 1) {
    _mm_storeu_si128(target, _mm_packus_epi16(low, high));
  } else {
    _mm_storeu_si128(target, low);
    _mm_storeu_si128(target + 1, high);
  }
}

/// Room for the last few values of a row, so that whole groups are read and stored.
struct Rest {
  float first[lanes] = {};
  float second[lanes] = {};
  std::uint8_t stored[4 * lanes] = {};
};

void copy_values(const float* from, std::size_t count, float* to) {
  for (std::size_t i = 0; i < count; ++i) to[i] = from[i];
}

void copy_bytes(const std::uint8_t* from, std::size_t count, std::uint8_t* to) {
  for (std::size_t i = 0; i < count; ++i) to[i] = from[i];
}

template <std::size_t code_bytes>
void store_one(const float* in, std::size_t count, const StoreRule& rule, std::uint8_t* out) {
  std::size_t i = 0;
  for (; i + lanes <= count; i += lanes) store_eight<code_bytes>(in + i, rule, out + i * code_bytes);
  if (i == count) return;
  Rest rest;
  copy_values(in + i, count - i, rest.first);
  store_eight<code_bytes>(rest.first, rule, rest.stored);
  copy_bytes(rest.stored, (count - i) * code_bytes, out + i * code_bytes);
}

template <std::size_t code_bytes>
void store_pair(const float* in_first, const float* in_second, std::size_t count, const StoreRule& rule,
                std::uint8_t* out) {
  constexpr std::size_t pair_bytes = 2 * code_bytes;
  std::size_t i = 0;
  for (; i + lanes <= count; i += lanes)
    store_eight_pairs<code_bytes>(in_first + i, in_second + i, rule, out + i * pair_bytes);
  if (i == count) return;
  Rest rest;
  copy_values(in_first + i, count - i, rest.first);
  copy_values(in_second + i, count - i, rest.second);
  store_eight_pairs<code_bytes>(rest.first, rest.second, rule, rest.stored);
  copy_bytes(rest.stored, (count - i) * pair_bytes, out + i * pair_bytes);
}

}  // namespace

constinit const StoringKernels avx2_storing = {
    average_pairs,
    {store_one<1>, store_one<2>},
    {store_pair<1>, store_pair<2>},
};

}  // namespace veyrin
