// The loops that turn sampled values into stored codes: signatures, contracts, one table per instruction set.
// Included by files compiled for newer instruction sets, so it holds no code and includes none.
#pragma once

#include <cstddef>
#include <cstdint>

namespace veyrin {

/// A value's code is round(max_code * clamp(value, 0, source_max) / source_max) << shift, halves rounded up.
struct StoreRule {
  float max_code;
  float source_max;
  std::int32_t shift;
};

/// out[i] = mean of in[2i] and in[2i + 1], for `count` outputs; `out` may be `in`.
using AveragePairsFunction = void (*)(const float* in, std::size_t count, float* out);

/// Stores `count` values as codes at `out`.
using StoreOneFunction = void (*)(const float* in, std::size_t count, const StoreRule& rule,
                                  std::uint8_t* out);

/// Stores `count` pairs of values as codes, interleaved.
using StorePairFunction = void (*)(const float* in_first, const float* in_second, std::size_t count,
                                   const StoreRule& rule, std::uint8_t* out);

/// All sets give identical results.
struct StoringKernels {
  AveragePairsFunction average_pairs;
  StoreOneFunction one[2];    ///< 8-bit, 16-bit codes
  StorePairFunction pair[2];  ///< 8-bit, 16-bit codes
};

extern const StoringKernels scalar_storing;
extern const StoringKernels avx2_storing;  ///< needs AVX2

}  // namespace veyrin
