#include "tests/processing/oracle.h"

#include <array>
#include <cmath>
#include <numbers>
#include <sstream>

namespace veyrin::test {
namespace {

double sinc(double t) {
  return t == 0.0 ? 1.0 : std::sin(std::numbers::pi * t) / (std::numbers::pi * t);
}

double lanczos4(double t) {
  return std::abs(t) >= 4.0 ? 0.0 : sinc(t) * sinc(t / 4.0);
}

struct Position {
  int whole;
  int phase;
};

Position position_of(float map, double scale) {
  double value = scale * map;
  if (!std::isfinite(value)) value = -1.0;
  value = std::min(std::max(value, -1e6), 1e6);
  const double whole = std::floor(value);
  Position position{static_cast<int>(whole), static_cast<int>(std::round((value - whole) * 32.0))};
  if (position.phase == 32) position = {position.whole + 1, 0};
  return position;
}

}  // namespace

double oracle_weight(int phase, int tap) {
  using Table = std::array<std::array<double, 8>, 32>;
  static const Table table = [] {
    Table weights{};
    for (int p = 0; p < 32; ++p) {
      double sum = 0.0;
      for (int k = 0; k < 8; ++k) sum += lanczos4(k - 3 - p / 32.0);
      for (std::size_t k = 0; k < 8; ++k)
        weights[p][k] = lanczos4(static_cast<double>(k) - 3 - p / 32.0) / sum;
    }
    return weights;
  }();
  return table[static_cast<std::size_t>(phase)][static_cast<std::size_t>(tap)];
}

double oracle_sample(const AVFrame& source, Channel channel, float map_x, float map_y, double scale,
                     double fill) {
  const Position column = position_of(map_x, scale);
  const Position row = position_of(map_y, scale);
  const int width = channel_width(source, channel);
  const int height = channel_height(source, channel);
  double sum = 0.0;
  for (int ky = 0; ky < 8; ++ky)
    for (int kx = 0; kx < 8; ++kx) {
      const int x = column.whole - 3 + kx;
      const int y = row.whole - 3 + ky;
      const bool inside = x >= 0 && x < width && y >= 0 && y < height;
      const double sample = inside ? get_sample(source, channel, x, y) : fill;
      sum += sample * oracle_weight(column.phase, kx) * oracle_weight(row.phase, ky);
    }
  return sum;
}

double oracle_value(const StoredMaps& maps, const ProcessorGeometry& geometry, const AVFrame& left,
                    const AVFrame& right, const AVFrame& output, Channel channel, int x, int y) {
  const int rectified_width = maps.left.size.width;
  const int rectified_height = maps.left.size.height;
  const int horizontal_pad = (geometry.eye_box.width - rectified_width) / 2 & ~1;
  const int vertical_pad = (geometry.eye_box.height - rectified_height) / 2 & ~1;
  const bool half = geometry.layout == OutputLayout::half_sbs;
  const bool luma = channel == Channel::y;

  int eye_span = half ? geometry.eye_box.width / 2 : geometry.eye_box.width;
  if (!luma) eye_span /= 2;
  bool right_eye = geometry.layout == OutputLayout::mono_right;
  if (geometry.layout == OutputLayout::full_sbs || half) {
    right_eye = x >= eye_span;
    if (right_eye) x -= eye_span;
  }
  const AVFrame& source = right_eye ? right : left;
  const StoredMap& map = right_eye ? maps.right : maps.left;
  const int source_bits = sample_bits(source.format);
  const double fill = luma ? 0.0 : std::ldexp(1.0, source_bits - 1);

  // In luma units of the rectified image; a chroma column is two of them wide.
  const int unit = luma ? 1 : 2;
  const int first_column = (half ? 2 * unit * x : unit * x) - horizontal_pad;
  const int row = unit * y - vertical_pad;
  const auto sample = [&](int column) {
    if (column < 0 || column >= rectified_width || row < 0 || row >= rectified_height) return fill;
    const auto entry = static_cast<std::size_t>(row) * rectified_width + column;
    return oracle_sample(source, channel, map.map_x[entry], map.map_y[entry], 1.0 / unit, fill);
  };
  const bool inside =
      first_column >= 0 && first_column < rectified_width && row >= 0 && row < rectified_height;
  double value = fill;
  if (inside)
    value = half ? (sample(first_column) + sample(first_column + unit)) / 2.0 : sample(first_column);

  const double source_max = std::ldexp(1.0, source_bits) - 1.0;
  const double output_max = std::ldexp(1.0, sample_bits(output.format)) - 1.0;
  return output_max * std::min(std::max(value, 0.0), source_max) / source_max;
}

std::string compare_with_oracle(const StoredMaps& maps, const ProcessorGeometry& geometry,
                                const AVFrame& left, const AVFrame& right, const AVFrame& output,
                                double tie_margin) {
  std::ostringstream report;
  int wrong = 0;
  double worst = 0.0;
  for (const Channel channel : {Channel::y, Channel::u, Channel::v})
    for (int y = 0; y < channel_height(output, channel); ++y)
      for (int x = 0; x < channel_width(output, channel); ++x) {
        const double exact = oracle_value(maps, geometry, left, right, output, channel, x, y);
        const int code = get_sample(output, channel, x, y);
        // A code is right when the exact value rounds to it, up to the margin.
        const double excess = std::abs(exact - code) - 0.5;
        if (excess <= tie_margin) continue;
        worst = std::max(worst, excess);
        if (wrong++ < 3)
          report << "channel " << static_cast<int>(channel) << " at (" << x << ", " << y << "): exact "
                 << exact << ", got " << code << "\n";
      }
  if (wrong > 0)
    report << wrong << " samples differ, worst by " << worst << " beyond the rounding boundary\n";
  return report.str();
}

}  // namespace veyrin::test
