// The rectified square view of one eye.
#pragma once

#include <cstdint>

#include "metadata/calibration.h"
#include "rectification/matrix3.h"
#include "rectification/rectified_geometry.h"
#include "thumbnail/view.h"

namespace veyrin {

/// What a converted movie of native size shows of the eye in the central square of its picture.
///
/// The view is that of the rectified pinhole camera, which looks at right angles to the baseline: a square of
/// side s = min(grid width, grid height) around the centre of the rectified grid, in native pixels. Its field
/// of view is 2 atan(s / 2f) with f the mean focal length of both cameras (principal points off the centre
/// turn it a little). Both eyes share the square, so their rows match and a distant point has the same place
/// in both.
class EyeView final : public View {
 public:
  /// The picture may have another size than the calibrated camera; positions are scaled to it.
  EyeView(const CameraIntrinsics& camera, const Matrix3& source_from_rectified,
          const RectifiedGeometry& geometry, int picture_width, int picture_height);

  [[nodiscard]] double width() const override { return view_side_; }
  [[nodiscard]] double height() const override { return view_side_; }
  void locate(const Row& row, std::span<ImagePosition> positions) const override;

 private:
  [[nodiscard]] ImagePosition camera_position(double u, double v) const;
  [[nodiscard]] ImagePosition picture_position(ImagePosition camera_position) const;

  const CameraIntrinsics& camera_;
  Matrix3 source_from_rectified_;
  double view_side_;                 // as many units as the picture has pixels
  double unit_;                      // grid pixels
  double first_column_, first_row_;  // grid position of the view's (0, 0)
  float x_scale_, y_scale_;          // picture pixels per camera pixel
};

}  // namespace veyrin
