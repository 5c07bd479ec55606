// The AVX-512 kernel for words, which has a file of its own. Included by files compiled for newer instruction
// sets, so it holds no code and includes none.
#pragma once

#include "processing/sampling_kernels.h"

namespace veyrin {

/// A SampleOneFunction for SampleStorage::bits_16_high.
void sample_high_words_avx512(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                              std::ptrdiff_t stride, const LanczosWeights& weights, float* out);

}  // namespace veyrin
