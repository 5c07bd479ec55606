// The sampling kernels in plain C++: readable first, they define what every other set has to compute.
#include <cstring>

#include "processing/sampling_kernels.h"

namespace veyrin {
namespace {

template <SampleStorage storage>
constexpr std::ptrdiff_t sample_bytes = storage == SampleStorage::bits_8 ? 1 : 2;

template <SampleStorage storage>
float load_sample(const std::uint8_t* at) {
  if constexpr (storage == SampleStorage::bits_8) {
    return *at;
  } else {
    std::uint16_t word = 0;
    std::memcpy(&word, at, sizeof word);
    return storage == SampleStorage::bits_16_high ? high_alignment_scale * word : word;
  }
}

template <SampleStorage storage, int channels>
float weighted_sum(RemapPosition position, const std::uint8_t* channel, std::ptrdiff_t stride,
                   const LanczosWeights& weights) {
  constexpr std::ptrdiff_t step = sample_bytes<storage> * channels;
  const float* wx = weights.taps[position.x & (phase_count - 1)];
  const float* wy = weights.taps[position.y & (phase_count - 1)];
  const std::uint8_t* row = channel + ((position.y >> phase_bits) - lanczos_taps_before) * stride +
                            ((position.x >> phase_bits) - lanczos_taps_before) * step;
  float sum = 0.0F;
  for (int ky = 0; ky < lanczos_taps; ++ky, row += stride) {
    float row_sum = 0.0F;
    for (int kx = 0; kx < lanczos_taps; ++kx) row_sum += load_sample<storage>(row + kx * step) * wx[kx];
    sum += row_sum * wy[ky];
  }
  return sum;
}

template <SampleStorage storage>
void sample_one(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                std::ptrdiff_t stride, const LanczosWeights& weights, float* out) {
  for (std::size_t i = 0; i < count; ++i)
    out[i] = weighted_sum<storage, 1>(positions[i], plane, stride, weights);
}

template <SampleStorage storage>
void sample_pair(const RemapPosition* positions, std::size_t count, const std::uint8_t* plane,
                 std::ptrdiff_t stride, const LanczosWeights& weights, float* out_first, float* out_second) {
  for (std::size_t i = 0; i < count; ++i) {
    out_first[i] = weighted_sum<storage, 2>(positions[i], plane, stride, weights);
    out_second[i] = weighted_sum<storage, 2>(positions[i], plane + sample_bytes<storage>, stride, weights);
  }
}

}  // namespace

constinit const SamplingKernels scalar_sampling = {
    {sample_one<SampleStorage::bits_8>, sample_one<SampleStorage::bits_16>,
     sample_one<SampleStorage::bits_16_high>},
    {sample_pair<SampleStorage::bits_8>, sample_pair<SampleStorage::bits_16>,
     sample_pair<SampleStorage::bits_16_high>},
};

}  // namespace veyrin
