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

}  // namespace veyrin
