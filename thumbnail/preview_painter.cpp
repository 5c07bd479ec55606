#include "thumbnail/preview_painter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "rectification/rectified_geometry.h"
#include "thumbnail/color_converter.h"
#include "thumbnail/footprint.h"
#include "thumbnail/picture_scaler.h"

namespace veyrin {
namespace {

constexpr Rgba backdrop{16, 18, 21, 255};
// In the precision of the extrinsic, so that a document's 1e-6 is not below itself.
constexpr double shortest_baseline_metres = 1e-6F;
// More than an image can have, and within an integer.
constexpr double most_rows = 1 << 30;
// What rounding leaves of a pixel that is on the picture altogether.
constexpr float whole_share = 0.999F;

// A lens bends the sides of such a part of a view by a small fraction of a pixel.
constexpr double longest_part = 8.0;

// Rows of the canvas that a worker takes at a time; the corners between two of them are located once.
constexpr std::int32_t band_rows = 16;

// Parts that the horizon of a camera crosses are divided by this along both sides.
constexpr int horizon_parts = 8;

/// The light that has fallen on one canvas pixel. A whole picture may fall on a single one: its parts would
/// not add up in single precision.
struct Exposure {
  double red = 0.0, green = 0.0, blue = 0.0;
  double share = 0.0;  ///< parts of the pixel that are on the picture

  void add(const FootprintLight& light, double weight) {
    const double seen = weight * light.share;
    red += seen * light.mean.red;
    green += seen * light.mean.green;
    blue += seen * light.mean.blue;
    share += seen;
  }
};

/// The parts that a side of the view is divided into: so many for each pixel of the canvas that none is too
/// long for a footprint with straight sides.
struct PartAxis {
  PartAxis(double view_length, int pixels)
      : per_pixel(std::max(1, static_cast<int>(std::ceil(view_length / pixels / longest_part)))),
        count(per_pixel * pixels),
        step(view_length / count) {}

  /// The view's coordinate where a part begins; the view reaches half a unit beyond its outermost centres.
  [[nodiscard]] double begin(int part) const { return part * step - 0.5; }

  int per_pixel;
  int count;
  double step;
};

using Positions = std::vector<ImagePosition>;

/// Exposes canvas pixels to the parts of a view.
class ViewExposer {
 public:
  /// Begins with row `first_row` of the canvas.
  ViewExposer(const View& view, const SinglePlaneImage& picture, const ColorConverter& converter, Size canvas,
              int first_row)
      : view_(view),
        reader_(picture, converter),
        columns_(view.width(), canvas.width),
        rows_(view.height(), canvas.height),
        upper_(static_cast<std::size_t>(columns_.count) + 1),
        lower_(upper_.size()) {
    locate(first_row * rows_.per_pixel, lower_);
  }

  /// Adds the light of a row of the canvas to its pixels' exposures. Rows come one after the other.
  void expose(int y, std::vector<Exposure>& exposures) {
    for (int i = 0; i < rows_.per_pixel; ++i) {
      const int part = y * rows_.per_pixel + i;
      std::swap(upper_, lower_);
      locate(part + 1, lower_);
      int column = 0;
      for (Exposure& exposure : exposures) {
        for (int j = 0; j < columns_.per_pixel; ++j) expose_part(column++, part, exposure);
      }
    }
  }

  [[nodiscard]] double parts_per_pixel() const {
    return static_cast<double>(columns_.per_pixel) * rows_.per_pixel;
  }

 private:
  using Corners = std::array<ImagePosition, 4>;

  void locate(int part_row, Positions& positions) const {
    view_.locate({columns_.begin(0), columns_.step, rows_.begin(part_row)}, positions);
  }

  static std::ptrdiff_t lost(const Corners& corners) {
    return std::ranges::count_if(corners, [](ImagePosition corner) { return std::isnan(corner.x); });
  }

  void expose_part(int column, int row, Exposure& exposure) {
    const auto at = static_cast<std::size_t>(column);
    const Corners corners{upper_[at], upper_[at + 1], lower_[at], lower_[at + 1]};
    const std::ptrdiff_t missing = lost(corners);
    if (missing == 0) {
      exposure.add(reader_.read(footprint_between(corners)), 1.0);
    } else if (missing < std::ssize(corners)) {
      expose_horizon(columns_.begin(column), rows_.begin(row), exposure);
    }
  }

  /// A part with corners that have no position counts as far as smaller parts have all of theirs.
  void expose_horizon(double u, double v, Exposure& exposure) {
    constexpr std::size_t parts = horizon_parts;
    constexpr double weight = 1.0 / (horizon_parts * horizon_parts);
    std::array<std::array<ImagePosition, parts + 1>, parts + 1> grid;
    for (std::size_t i = 0; i <= parts; ++i) {
      const double down = rows_.step * static_cast<double>(i) / horizon_parts;
      view_.locate({u, columns_.step / horizon_parts, v + down}, grid[i]);
    }
    for (std::size_t i = 0; i < parts; ++i) {
      for (std::size_t j = 0; j < parts; ++j) {
        const Corners corners{grid[i][j], grid[i][j + 1], grid[i + 1][j], grid[i + 1][j + 1]};
        if (lost(corners) == 0) exposure.add(reader_.read(footprint_between(corners)), weight);
      }
    }
  }

  const View& view_;
  FootprintReader reader_;
  PartAxis columns_, rows_;
  Positions upper_, lower_;  // corners of the parts above and below
};

float mixed(float a, float b, float share) {
  return a + share * (b - a);
}

/// The pixel's new colour when it consists of `all` parts.
Rgba developed(const Exposure& exposure, double all, const DisplayColors& colors, Rgba background) {
  const auto mean = [&exposure](double sum) { return static_cast<float>(sum / exposure.share); };
  const LinearColor seen = colors.displayed({mean(exposure.red), mean(exposure.green), mean(exposure.blue)});
  const auto share = static_cast<float>(exposure.share / all);
  if (share >= whole_share) return colors.encoded(seen);
  const LinearColor behind = colors.decoded(background);
  return colors.encoded({mixed(behind.red, seen.red, share), mixed(behind.green, seen.green, share),
                         mixed(behind.blue, seen.blue, share)});
}

double baseline_length(const Pose& extrinsic) {
  return std::hypot(extrinsic.position[0], extrinsic.position[1], extrinsic.position[2]);
}

/// A square of an image, which it borrows.
class Square final : public Image {
 public:
  Square(SinglePlaneImage& image, int x, int side) : Image({side, side}), image_(image), x_(x) {}
  [[nodiscard]] Rgba* row(int y) override { return image_.row(y) + x_; }
  [[nodiscard]] const Rgba* row(int y) const override { return image_.row(y) + x_; }

 private:
  SinglePlaneImage& image_;
  int x_;
};

/// Paints one eye onto the backdrop; false when it cannot be rendered.
[[nodiscard]] bool paint_eye(const CameraIntrinsics& camera, const Matrix3& source_from_rectified,
                             const RectifiedGeometry& geometry, const ColoredFrame& eye, Image& square,
                             CpuWorkerPool& pool) {
  const ImagePtr picture = image_of_frame(*eye.frame, eye.converter, pool);
  if (!picture) return false;
  const EyeView view(camera, source_from_rectified, geometry, picture->size());
  return paint_view(view, *picture, eye.converter, square, pool);
}

}  // namespace

bool paint_view(const View& view, const SinglePlaneImage& picture, const ColorConverter& converter,
                Image& canvas, CpuWorkerPool& pool) {
  const DisplayColors colors(converter);
  std::atomic<bool> visible = false;
  pool.run_bands(canvas.height(), band_rows, [&](std::int32_t begin, std::int32_t end) {
    ViewExposer exposer(view, picture, converter, canvas.size(), begin);
    std::vector<Exposure> exposures;
    for (int y = begin; y < end; ++y) {
      exposures.assign(static_cast<std::size_t>(canvas.width()), Exposure{});
      exposer.expose(y, exposures);
      Rgba* pixel = canvas.row(y);
      for (const Exposure& exposure : exposures) {
        if (exposure.share > 0.0) {
          *pixel = developed(exposure, exposer.parts_per_pixel(), colors, *pixel);
          visible = true;
        }
        ++pixel;
      }
    }
  });
  return visible;
}

ImagePtr paint_eyes(const RawDualTrackCalibration& calibration, const ColoredFrame& left,
                    const ColoredFrame& right, int width, CpuWorkerPool& pool) {
  if (!(baseline_length(calibration.stereo_extrinsic) >= shortest_baseline_metres)) return nullptr;
  RectifiedGeometry geometry;
  std::string ignored;
  if (!derive_rectified_geometry(calibration, geometry, ignored)) return nullptr;
  const int half = std::max(1, width / 2);
  ImagePtr canvas = SinglePlaneImage::create({width, half}, backdrop);
  if (!canvas) return nullptr;
  Square left_square(*canvas, 0, half);
  if (!paint_eye(calibration.left_intrinsics, geometry.left_source_from_rectified, geometry, left,
                 left_square, pool)) {
    return nullptr;
  }
  // A canvas one pixel wide has no room for the right square, but the eye must be there all the same.
  const bool has_room = 2 * half <= width;
  const ImagePtr unseen = has_room ? nullptr : SinglePlaneImage::create({half, half}, backdrop);
  if (!has_room && !unseen) return nullptr;
  Square right_square(has_room ? *canvas : *unseen, has_room ? half : 0, half);
  if (!paint_eye(calibration.right_intrinsics, geometry.right_source_from_rectified, geometry, right,
                 right_square, pool)) {
    return nullptr;
  }
  return canvas;
}

ImagePtr paint_upright(const ColoredFrame& picture, int quarter_turns, double pixel_aspect, int width,
                       CpuWorkerPool& pool) {
  const ImagePtr source = image_of_frame(*picture.frame, picture.converter, pool);
  if (!source) return nullptr;
  const bool lying = quarter_turns % 2 != 0;
  const double width_over_height = pixel_aspect * source->width() / source->height();
  const double rows = std::round(lying ? width * width_over_height : width / width_over_height);
  const Size upright{width, static_cast<int>(std::clamp(rows, 1.0, most_rows))};
  const ImagePtr scaled =
      scaled_picture(*source, picture.converter, lying ? Size{upright.height, upright.width} : upright, pool);
  return scaled ? turned_picture(*scaled, quarter_turns) : nullptr;
}

}  // namespace veyrin
