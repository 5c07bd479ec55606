#include "thumbnail/picture_scaler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace veyrin {
namespace {

// Rows of the scaled picture that a worker takes at a time.
constexpr std::int32_t band_rows = 16;

/// Rows of a picture in linear light, scaled in width. A row is made once even when two rows of the scaled
/// picture share it.
class ScaledRows {
 public:
  /// All are borrowed; `axis` makes `width` pixels of the picture's rows.
  ScaledRows(const SinglePlaneImage& picture, const ColorConverter& converter, const ScaledAxis& axis,
             int width)
      : picture_(picture), linear_(converter.linear), axis_(axis) {
    for (Row& row : rows_) row.colors.resize(static_cast<std::size_t>(width));
  }

  /// Valid until the row after the next is asked for.
  [[nodiscard]] const std::vector<LinearColor>& row(int y) {
    Row& row = rows_[static_cast<std::size_t>(y % 2)];
    if (row.y != y) {
      row.y = y;
      fill(picture_.row(y), row.colors);
    }
    return row.colors;
  }

 private:
  struct Row {
    int y = -1;
    std::vector<LinearColor> colors;
  };

  void fill(const Rgba* pixels, std::vector<LinearColor>& colors) const {
    int x = 0;
    for (LinearColor& color : colors) {
      const auto [first, weights] = axis_.taps(x++);
      const Rgba* pixel = pixels + first;
      LinearColor sum;
      for (const float weight : weights) {
        sum.red += weight * linear_[pixel->red];
        sum.green += weight * linear_[pixel->green];
        sum.blue += weight * linear_[pixel->blue];
        ++pixel;
      }
      color = sum;
    }
  }

  const SinglePlaneImage& picture_;
  const std::array<float, 256>& linear_;
  const ScaledAxis& axis_;
  std::array<Row, 2> rows_;
};

/// A whole picture may end in one pixel: so many rows do not add up in single precision.
struct Sum {
  double red = 0.0, green = 0.0, blue = 0.0;
};

LinearColor light_of(const Sum& sum) {
  return {static_cast<float>(sum.red), static_cast<float>(sum.green), static_cast<float>(sum.blue)};
}

}  // namespace

ScaledAxis::ScaledAxis(int source_length, int target_length) {
  entries_.reserve(static_cast<std::size_t>(target_length));
  for (int target = 0; target < target_length; ++target) {
    if (target_length <= source_length) {
      cover(target, source_length, target_length);
    } else {
      interpolate(target, source_length, target_length);
    }
  }
}

void ScaledAxis::add(int first, std::span<const float> weights) {
  entries_.push_back({first, weights_.size(), weights.size()});
  weights_.insert(weights_.end(), weights.begin(), weights.end());
}

// In whole numbers, so that no fraction is lost: a source pixel is `target_length` long, a target pixel
// `source_length`.
void ScaledAxis::cover(std::int64_t target, std::int64_t source_length, std::int64_t target_length) {
  const std::int64_t begin = target * source_length, end = begin + source_length;
  const std::int64_t first = begin / target_length, behind = (end + target_length - 1) / target_length;
  entries_.push_back({static_cast<int>(first), weights_.size(), static_cast<std::size_t>(behind - first)});
  for (std::int64_t source = first; source < behind; ++source) {
    const std::int64_t covered =
        std::min(end, (source + 1) * target_length) - std::max(begin, source * target_length);
    weights_.push_back(static_cast<float>(static_cast<double>(covered) / static_cast<double>(source_length)));
  }
}

void ScaledAxis::interpolate(int target, int source_length, int target_length) {
  const double last = source_length - 1.0;
  const double position =
      std::clamp((target + 0.5) * source_length / static_cast<double>(target_length) - 0.5, 0.0, last);
  const double first = std::min(std::floor(position), std::max(last - 1.0, 0.0));
  const auto share = static_cast<float>(position - first);
  const std::array<float, 2> weights{1.0F - share, share};
  add(static_cast<int>(first), std::span(weights).first(source_length > 1 ? 2 : 1));
}

ImagePtr scaled_picture(const SinglePlaneImage& picture, const ColorConverter& converter, Size target,
                        CpuWorkerPool& pool) {
  ImagePtr scaled = SinglePlaneImage::create(target, {});
  if (!scaled) return nullptr;
  const DisplayColors colors(converter);
  const ScaledAxis columns(picture.width(), target.width);
  const ScaledAxis axis(picture.height(), target.height);
  pool.run_bands(target.height, band_rows, [&](std::int32_t begin, std::int32_t end) {
    ScaledRows rows(picture, converter, columns, target.width);
    std::vector<Sum> sums;
    for (int y = begin; y < end; ++y) {
      sums.assign(static_cast<std::size_t>(target.width), Sum{});
      const auto [first, weights] = axis.taps(y);
      int source_row = first;
      for (const double weight : weights) {
        auto sum = sums.begin();
        for (const LinearColor& color : rows.row(source_row++)) {
          sum->red += weight * color.red;
          sum->green += weight * color.green;
          sum->blue += weight * color.blue;
          ++sum;
        }
      }
      std::ranges::transform(sums, scaled->row(y), [&colors](const Sum& sum) {
        return colors.encoded(colors.displayed(light_of(sum)));
      });
    }
  });
  return scaled;
}

ImagePtr turned_picture(const SinglePlaneImage& picture, int quarter_turns) {
  const int width = picture.width(), height = picture.height();
  const bool lying = quarter_turns % 2 != 0;
  ImagePtr turned = SinglePlaneImage::create(lying ? Size{height, width} : Size{width, height}, {});
  if (!turned) return nullptr;
  for (int y = 0; y < height; ++y) {
    const Rgba* pixels = picture.row(y);
    for (int x = 0; x < width; ++x) {
      switch (quarter_turns) {
        case 1:
          turned->row(x)[height - 1 - y] = pixels[x];
          break;
        case 2:
          turned->row(height - 1 - y)[width - 1 - x] = pixels[x];
          break;
        case 3:
          turned->row(width - 1 - x)[y] = pixels[x];
          break;
        default:
          turned->row(y)[x] = pixels[x];
          break;
      }
    }
  }
  return turned;
}

}  // namespace veyrin
