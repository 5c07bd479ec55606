#include "thumbnail/preview_painter.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "rectification/rectified_geometry.h"
#include "thumbnail/eye_view.h"
#include "thumbnail/frame_image.h"
#include "thumbnail/upright_view.h"
#include "thumbnail/view_painter.h"

namespace veyrin {
namespace {

using ImagePtr = std::shared_ptr<SinglePlaneImage>;

constexpr Rgba backdrop{16, 18, 21, 255};
// In the precision of the extrinsic, so that a document's 1e-6 is not below itself.
constexpr double shortest_baseline_metres = 1e-6F;
// More than an image can have, and within an integer.
constexpr double most_rows = 1 << 30;

double baseline_length(const Pose& extrinsic) {
  return std::hypot(extrinsic.position[0], extrinsic.position[1], extrinsic.position[2]);
}

/// One eye's square; null when it cannot be rendered.
ImagePtr paint_eye(const CameraIntrinsics& camera, const Matrix3& source_from_rectified,
                   const RectifiedGeometry& geometry, const ColoredFrame& eye, int side) {
  const ImagePtr picture = image_of_frame(*eye.frame, eye.converter);
  const ImagePtr square = SinglePlaneImage::create(side, side, backdrop);
  if (!picture || !square) return nullptr;
  const EyeView view(camera, source_from_rectified, geometry, picture->width(), picture->height());
  return paint_view(view, *picture, eye.converter, *square) ? square : nullptr;
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

ImagePtr paint_eyes(const RawDualTrackCalibration& calibration, const ColoredFrame& left,
                    const ColoredFrame& right, int width) {
  if (!(baseline_length(calibration.stereo_extrinsic) >= shortest_baseline_metres)) return nullptr;
  RectifiedGeometry geometry;
  std::string ignored;
  if (!derive_rectified_geometry(calibration, geometry, ignored)) return nullptr;
  const int half = std::max(1, width / 2);
  ImagePtr canvas = SinglePlaneImage::create(width, half, backdrop);
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
  const UprightView view(source->width(), source->height(), quarter_turns);
  const double turned_aspect = quarter_turns % 2 != 0 ? 1.0 / pixel_aspect : pixel_aspect;
  const double rows = std::round(width * view.height() / (view.width() * turned_aspect));
  ImagePtr canvas =
      SinglePlaneImage::create(width, static_cast<int>(std::clamp(rows, 1.0, most_rows)), backdrop);
  if (!canvas || !paint_view(view, *source, picture.converter, *canvas)) return nullptr;
  return canvas;
}

}  // namespace veyrin
