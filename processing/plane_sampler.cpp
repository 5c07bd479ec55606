#include "processing/plane_sampler.h"

#include <algorithm>
#include <cstring>

namespace veyrin {
namespace {

/// One channel of a plane, for the slow way through single samples.
struct ChannelView {
  const PlaneView& plane;
  std::ptrdiff_t offset;  ///< bytes to the first sample
  std::ptrdiff_t step;    ///< bytes from sample to sample

  [[nodiscard]] float at(std::int32_t x, std::int32_t y) const {
    const std::uint8_t* sample = plane.data + y * plane.stride + offset + x * step;
    if (plane.storage == SampleStorage::bits_8) return *sample;
    std::uint16_t word = 0;
    std::memcpy(&word, sample, sizeof word);
    if (plane.storage == SampleStorage::bits_16_high)
      word = static_cast<std::uint16_t>(word >> high_alignment_shift);
    return word;
  }
};

ChannelView channel_view(const PlaneView& plane, int channel, int channels) {
  const std::ptrdiff_t bytes = plane.storage == SampleStorage::bits_8 ? 1 : 2;
  return {plane, bytes * channel, bytes * channels};
}

float border_sum(const LanczosWeights& weights, RemapPosition position, const ChannelView& channel,
                 float fill) {
  const float* wx = weights.taps[position.x & (phase_count - 1)];
  const float* wy = weights.taps[position.y & (phase_count - 1)];
  const std::int32_t left = (position.x >> phase_bits) - lanczos_taps_before;
  const std::int32_t top = (position.y >> phase_bits) - lanczos_taps_before;
  const Size size = channel.plane.size;
  float sum = 0.0F;
  for (std::int32_t ky = 0; ky < lanczos_taps; ++ky) {
    const std::int32_t y = top + ky;
    const bool row_inside = y >= 0 && y < size.height;
    float row_sum = 0.0F;
    for (std::int32_t kx = 0; kx < lanczos_taps; ++kx) {
      const std::int32_t x = left + kx;
      row_sum += (row_inside && x >= 0 && x < size.width ? channel.at(x, y) : fill) * wx[kx];
    }
    sum += row_sum * wy[ky];
  }
  return sum;
}

void sample_border(const LanczosWeights& weights, std::span<const RemapPosition> positions,
                   const ChannelView& channel, float fill, float* out) {
  // Invalid map entries come in long stretches of one position: they are summed once.
  for (std::size_t i = 0; i < positions.size(); ++i) {
    const RemapPosition position = positions[i];
    const bool repeated = i > 0 && position.x == positions[i - 1].x && position.y == positions[i - 1].y;
    out[i] = repeated ? out[i - 1] : border_sum(weights, position, channel, fill);
  }
}

/// Calls visit(neighbourhood, positions, offset) for the runs that overlap the stretch, clipped to it.
template <typename Visit>
void for_each_run(const PlaneRemapTable& table, std::int32_t row, std::int32_t first, std::int32_t count,
                  const Visit& visit) {
  const auto positions = table.positions(row);
  const auto runs = table.runs(row);
  const std::int32_t last = first + count;
  auto run = std::ranges::upper_bound(runs, first, {}, &RemapRun::end);
  for (std::int32_t column = first; column < last; ++run) {
    const std::int32_t end = std::min(run->end, last);
    visit(run->neighbourhood, positions.subspan(column, end - column), column - first);
    column = end;
  }
}

}  // namespace

void sample_one(const SamplingTools& tools, const PlaneRemapTable& table, std::int32_t row,
                std::int32_t first, std::int32_t count, const PlaneView& plane, float fill, float* out) {
  const auto kernel = tools.kernels.sampling.one[static_cast<std::size_t>(plane.storage)];
  for_each_run(table, row, first, count,
               [&](Neighbourhood where, std::span<const RemapPosition> run, std::int32_t at) {
                 switch (where) {
                   case Neighbourhood::inside:
                     return kernel(run.data(), run.size(), plane.data, plane.stride, tools.weights, out + at);
                   case Neighbourhood::border:
                     return sample_border(tools.weights, run, channel_view(plane, 0, 1), fill, out + at);
                   case Neighbourhood::outside:
                     std::fill_n(out + at, run.size(), fill);
                 }
               });
}

void sample_pair(const SamplingTools& tools, const PlaneRemapTable& table, std::int32_t row,
                 std::int32_t first, std::int32_t count, const PlaneView& plane, float fill, float* out_first,
                 float* out_second) {
  const auto kernel = tools.kernels.sampling.pair[static_cast<std::size_t>(plane.storage)];
  for_each_run(table, row, first, count,
               [&](Neighbourhood where, std::span<const RemapPosition> run, std::int32_t at) {
                 switch (where) {
                   case Neighbourhood::inside:
                     return kernel(run.data(), run.size(), plane.data, plane.stride, tools.weights,
                                   out_first + at, out_second + at);
                   case Neighbourhood::border:
                     sample_border(tools.weights, run, channel_view(plane, 0, 2), fill, out_first + at);
                     return sample_border(tools.weights, run, channel_view(plane, 1, 2), fill,
                                          out_second + at);
                   case Neighbourhood::outside:
                     std::fill_n(out_first + at, run.size(), fill);
                     std::fill_n(out_second + at, run.size(), fill);
                 }
               });
}

}  // namespace veyrin
