#include "thumbnail/preview_painter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "rectification/rectified_geometry.h"
#include "thumbnail/color_converter.h"

namespace veyrin {
namespace {

constexpr Rgba backdrop{16, 18, 21, 255};
// In the precision of the extrinsic, so that a document's 1e-6 is not below itself.
constexpr double shortest_baseline_metres = 1e-6F;
// More than an image can have, and within an integer.
constexpr double most_rows = 1 << 30;

/// Reads linear light between the pixels of a picture.
class LightSampler {
 public:
  LightSampler(const SinglePlaneImage& picture, const ColorConverter& converter)
      : picture_(picture),
        linear_(converter.linear),
        last_x_(static_cast<float>(picture.width() - 1)),
        last_y_(static_cast<float>(picture.height() - 1)) {}

  /// Beyond the outermost pixel centres the picture goes on as there.
  [[nodiscard]] LinearColor at(ImagePosition position) const {
    const float x = std::clamp(position.x, 0.0F, last_x_), y = std::clamp(position.y, 0.0F, last_y_);
    const int left = static_cast<int>(x), top = static_cast<int>(y);
    const int right = std::min(left + 1, picture_.width() - 1);
    const int bottom = std::min(top + 1, picture_.height() - 1);
    const float fx = x - static_cast<float>(left), fy = y - static_cast<float>(top);
    const Rgba* above = picture_.row(top);
    const Rgba* below = picture_.row(bottom);
    LinearColor sum;
    add(above[left], (1.0F - fx) * (1.0F - fy), sum);
    add(above[right], fx * (1.0F - fy), sum);
    add(below[left], (1.0F - fx) * fy, sum);
    add(below[right], fx * fy, sum);
    return sum;
  }

 private:
  void add(Rgba pixel, float weight, LinearColor& sum) const {
    sum.red += weight * linear_[pixel.red];
    sum.green += weight * linear_[pixel.green];
    sum.blue += weight * linear_[pixel.blue];
  }

  const SinglePlaneImage& picture_;
  const std::array<float, 256>& linear_;
  float last_x_, last_y_;
};

/// The light that has fallen on one canvas pixel. A whole picture may fall on a single one: its millions of
/// samples would not add up in single precision.
struct Exposure {
  double red = 0.0, green = 0.0, blue = 0.0;
  std::int64_t samples = 0;  ///< those on the picture
};

/// Samples of the view along one side of the canvas.
struct SampleAxis {
  SampleAxis(double view_length, int pixels)
      : per_pixel(std::max(1, static_cast<int>(std::ceil(view_length / pixels)))),
        count(per_pixel * pixels),
        step(view_length / count) {}

  /// The view's coordinate of a sample; the view reaches half a unit beyond its outermost centres.
  [[nodiscard]] double position(int sample) const { return (sample + 0.5) * step - 0.5; }

  int per_pixel;
  int count;
  double step;
};

void expose(const LightSampler& sampler, std::span<const ImagePosition> positions, int per_pixel,
            std::vector<Exposure>& row) {
  auto position = positions.begin();
  for (Exposure& exposure : row) {
    for (int i = 0; i < per_pixel; ++i, ++position) {
      if (std::isnan(position->x)) continue;
      const LinearColor light = sampler.at(*position);
      exposure.red += light.red;
      exposure.green += light.green;
      exposure.blue += light.blue;
      ++exposure.samples;
    }
  }
}

float mixed(float a, float b, float share) {
  return a + share * (b - a);
}

/// The pixel's new colour when `all` samples were tried.
Rgba developed(const Exposure& exposure, std::int64_t all, const DisplayColors& colors, Rgba background) {
  const auto mean = [&exposure](double sum) {
    return static_cast<float>(sum / static_cast<double>(exposure.samples));
  };
  const LinearColor seen = colors.displayed({mean(exposure.red), mean(exposure.green), mean(exposure.blue)});
  if (exposure.samples == all) return colors.encoded(seen);
  const LinearColor behind = colors.decoded(background);
  const float share = static_cast<float>(exposure.samples) / static_cast<float>(all);
  return colors.encoded({mixed(behind.red, seen.red, share), mixed(behind.green, seen.green, share),
                         mixed(behind.blue, seen.blue, share)});
}

double baseline_length(const Pose& extrinsic) {
  return std::hypot(extrinsic.position[0], extrinsic.position[1], extrinsic.position[2]);
}

/// One eye's square; null when it cannot be rendered.
[[nodiscard]] ImagePtr paint_eye(const CameraIntrinsics& camera, const Matrix3& source_from_rectified,
                                 const RectifiedGeometry& geometry, const ColoredFrame& eye, int side) {
  const ImagePtr picture = image_of_frame(*eye.frame, eye.converter);
  ImagePtr square = SinglePlaneImage::create({side, side}, backdrop);
  if (!picture || !square) return nullptr;
  const EyeView view(camera, source_from_rectified, geometry, picture->size());
  return paint_view(view, *picture, eye.converter, *square) ? std::move(square) : nullptr;
}

/// Copies as much of a picture as the canvas has room for.
void place(const SinglePlaneImage& picture, int x, SinglePlaneImage& canvas) {
  const int columns = std::min(picture.width(), canvas.width() - x);
  if (columns <= 0) return;
  for (int y = 0; y < std::min(picture.height(), canvas.height()); ++y) {
    std::copy_n(picture.row(y), columns, canvas.row(y) + x);
  }
}

}  // namespace

bool paint_view(const View& view, const SinglePlaneImage& picture, const ColorConverter& converter,
                SinglePlaneImage& canvas) {
  const DisplayColors colors(converter);
  const LightSampler sampler(picture, converter);
  const SampleAxis columns(view.width(), canvas.width()), rows(view.height(), canvas.height());
  std::vector<ImagePosition> positions(static_cast<std::size_t>(columns.count));
  std::vector<Exposure> exposures;
  const std::int64_t samples = std::int64_t{columns.per_pixel} * rows.per_pixel;
  bool visible = false;
  for (int y = 0; y < canvas.height(); ++y) {
    exposures.assign(static_cast<std::size_t>(canvas.width()), Exposure{});
    for (int i = 0; i < rows.per_pixel; ++i) {
      view.locate({columns.position(0), columns.step, rows.position(y * rows.per_pixel + i)}, positions);
      expose(sampler, positions, columns.per_pixel, exposures);
    }
    Rgba* pixel = canvas.row(y);
    for (const Exposure& exposure : exposures) {
      if (exposure.samples > 0) {
        *pixel = developed(exposure, samples, colors, *pixel);
        visible = true;
      }
      ++pixel;
    }
  }
  return visible;
}

ImagePtr paint_eyes(const RawDualTrackCalibration& calibration, const ColoredFrame& left,
                    const ColoredFrame& right, int width) {
  if (!(baseline_length(calibration.stereo_extrinsic) >= shortest_baseline_metres)) return nullptr;
  RectifiedGeometry geometry;
  std::string ignored;
  if (!derive_rectified_geometry(calibration, geometry, ignored)) return nullptr;
  const int half = std::max(1, width / 2);
  ImagePtr canvas = SinglePlaneImage::create({width, half}, backdrop);
  if (!canvas) return nullptr;
  const ImagePtr left_eye =
      paint_eye(calibration.left_intrinsics, geometry.left_source_from_rectified, geometry, left, half);
  if (!left_eye) return nullptr;
  const ImagePtr right_eye =
      paint_eye(calibration.right_intrinsics, geometry.right_source_from_rectified, geometry, right, half);
  if (!right_eye) return nullptr;
  place(*left_eye, 0, *canvas);
  // A canvas one pixel wide has no room for the right square.
  place(*right_eye, half, *canvas);
  return canvas;
}

ImagePtr paint_upright(const ColoredFrame& picture, int quarter_turns, double pixel_aspect, int width) {
  const ImagePtr source = image_of_frame(*picture.frame, picture.converter);
  if (!source) return nullptr;
  const UprightView view(source->size(), quarter_turns);
  const double turned_aspect = quarter_turns % 2 != 0 ? 1.0 / pixel_aspect : pixel_aspect;
  const double rows = std::round(width * view.height() / (view.width() * turned_aspect));
  ImagePtr canvas =
      SinglePlaneImage::create({width, static_cast<int>(std::clamp(rows, 1.0, most_rows))}, backdrop);
  if (!canvas || !paint_view(view, *source, picture.converter, *canvas)) return nullptr;
  return canvas;
}

}  // namespace veyrin
