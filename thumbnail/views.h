// What a preview shows of a recorded picture, and where that is in the picture.
#pragma once

#include <span>

#include "media/video_types.h"
#include "metadata/calibration.h"
#include "rectification/rectified_geometry.h"

namespace veyrin {

/// A view of a source picture. Its plane is `width` x `height` units with unit centres at integers; a unit is
/// about as large as a pixel of the picture.
class View {
 public:
  virtual ~View() = default;
  [[nodiscard]] virtual double width() const = 0;
  [[nodiscard]] virtual double height() const = 0;

  /// A run of positions along one row of the view.
  struct Row {
    double u_start = 0.0;  ///< of the first position
    double u_step = 0.0;
    double v = 0.0;
  };
  /// The source position, in the picture's pixels, of each position of the run. It may lie outside the
  /// picture; NaN where no camera could see what the view looks at.
  virtual void locate(const Row& row, std::span<ImagePosition> positions) const = 0;
};

/// What a converted movie of native size shows of one eye in the central square of its picture.
///
/// The view is that of the rectified pinhole camera, which looks at right angles to the baseline: a square of
/// side s = min(grid width, grid height) around the centre of the rectified grid, in native pixels. Its field
/// of view is 2 atan(s / 2f) with f the mean focal length of both cameras (principal points off the centre
/// turn it a little). Both eyes share the square, so their rows match and a distant point has the same place
/// in both. What lies behind the real camera, or at right angles to where it looks, has no position.
class EyeView final : public View {
 public:
  /// Borrows the camera. The picture may have another size than the calibrated camera; positions are scaled
  /// to it.
  EyeView(const CameraIntrinsics& camera, const Matrix3& source_from_rectified,
          const RectifiedGeometry& geometry, Size picture);

  [[nodiscard]] double width() const override { return view_side_; }
  [[nodiscard]] double height() const override { return view_side_; }
  void locate(const Row& row, std::span<ImagePosition> positions) const override;

 private:
  [[nodiscard]] ImagePosition exact_position(double u, double v) const;

  const CameraIntrinsics& camera_;
  Matrix3 source_from_rectified_;
  double view_side_;                 // as many units as the picture has pixels
  double unit_;                      // grid pixels
  double first_column_, first_row_;  // grid position of the view's (0, 0)
  float x_scale_, y_scale_;          // picture pixels per camera pixel
};

}  // namespace veyrin
