#include "processing/plane_pass.h"

#include <algorithm>
#include <cstring>

namespace veyrin {
namespace {

// Table columns sampled at a time: the float values stay in the first-level cache until they are stored.
constexpr std::int32_t chunk_columns = 1024;

void fill_codes(std::uint8_t* out, std::size_t count, const std::uint8_t (&code)[2],
                std::int32_t bytes_per_code) {
  if (bytes_per_code == 1) {
    std::memset(out, code[0], count);
    return;
  }
  for (std::size_t i = 0; i < count; ++i) std::memcpy(out + 2 * i, code, 2);
}

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
    return plane.storage == SampleStorage::bits_16_high ? high_alignment_scale * word : word;
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

void PlanePass::write_row(std::int32_t row) const {
  const std::int32_t table_row = row - layout.first_image_row;
  for (const EyeRegion& region : layout.eyes) {
    const PlaneRemapTable& table = *eyes[static_cast<std::size_t>(region.eye)].table;
    if (table_row < 0 || table_row >= table.height()) {
      write_fill(row, region.begin, region.end);
      continue;
    }
    write_fill(row, region.begin, region.image_begin);
    write_image(region, row, table_row);
    write_fill(row, region.image_end, region.end);
  }
}

void PlanePass::write_image(const EyeRegion& region, std::int32_t row, std::int32_t table_row) const {
  const EyeSource& eye = eyes[static_cast<std::size_t>(region.eye)];
  const std::int32_t step = layout.table_columns_per_column;
  const std::int32_t chunk = chunk_columns / step;
  float first[chunk_columns];
  float second[chunk_columns];

  for (std::int32_t column = region.image_begin; column < region.image_end; column += chunk) {
    const std::int32_t columns = std::min(chunk, region.image_end - column);
    const std::int32_t table_column = region.first_table_column + step * (column - region.image_begin);
    const std::int32_t wanted = columns * step;
    const std::int32_t sampled = std::min(wanted, eye.table->width() - table_column);
    switch (source_channels) {
      case ChannelLayout::single:
        sample_one(tools, *eye.table, table_row, table_column, sampled, eye.planes[0], fill, first);
        break;
      case ChannelLayout::planar_pair:
        sample_one(tools, *eye.table, table_row, table_column, sampled, eye.planes[0], fill, first);
        sample_one(tools, *eye.table, table_row, table_column, sampled, eye.planes[1], fill, second);
        break;
      case ChannelLayout::interleaved_pair:
        sample_pair(tools, *eye.table, table_row, table_column, sampled, eye.planes[0], fill, first, second);
        break;
    }
    // A squeezed pair can begin on the last table column: its other half is fill.
    std::fill(first + sampled, first + wanted, fill);
    std::fill(second + sampled, second + wanted, fill);
    if (step == 2) {
      tools.kernels.storing.average_pairs(first, static_cast<std::size_t>(columns), first);
      if (source_channels != ChannelLayout::single)
        tools.kernels.storing.average_pairs(second, static_cast<std::size_t>(columns), second);
    }
    store_samples(row, column, columns, first, second);
  }
}

void PlanePass::write_fill(std::int32_t row, std::int32_t begin, std::int32_t end) const {
  if (begin >= end) return;
  std::uint8_t code[2] = {};
  tools.kernels.storing.one[bytes_per_code - 1](&fill, 1, store, code);
  const auto columns = static_cast<std::size_t>(end - begin);
  if (canvas_channels == ChannelLayout::interleaved_pair) {
    fill_codes(canvas_at(0, row, begin), 2 * columns, code, bytes_per_code);
    return;
  }
  fill_codes(canvas_at(0, row, begin), columns, code, bytes_per_code);
  if (canvas_channels == ChannelLayout::planar_pair)
    fill_codes(canvas_at(1, row, begin), columns, code, bytes_per_code);
}

void PlanePass::store_samples(std::int32_t row, std::int32_t column, std::int32_t count, const float* first,
                              const float* second) const {
  const auto values = static_cast<std::size_t>(count);
  if (canvas_channels == ChannelLayout::interleaved_pair) {
    tools.kernels.storing.pair[bytes_per_code - 1](first, second, values, store, canvas_at(0, row, column));
    return;
  }
  tools.kernels.storing.one[bytes_per_code - 1](first, values, store, canvas_at(0, row, column));
  if (canvas_channels == ChannelLayout::planar_pair)
    tools.kernels.storing.one[bytes_per_code - 1](second, values, store, canvas_at(1, row, column));
}

std::uint8_t* PlanePass::canvas_at(std::size_t plane, std::int32_t row, std::int32_t column) const {
  const std::int32_t codes = canvas_channels == ChannelLayout::interleaved_pair ? 2 * column : column;
  return canvas.data[plane] + row * canvas.strides[plane] +
         static_cast<std::ptrdiff_t>(codes) * bytes_per_code;
}

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
