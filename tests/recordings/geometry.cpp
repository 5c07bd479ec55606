#include "tests/recordings/geometry.h"

#include <numbers>

namespace veyrin::recordings {

Vector3 Matrix3::column(int index) const {
  switch (index) {
    case 0:
      return {rows[0].x, rows[1].x, rows[2].x};
    case 1:
      return {rows[0].y, rows[1].y, rows[2].y};
    default:
      return {rows[0].z, rows[1].z, rows[2].z};
  }
}

Matrix3 Matrix3::transposed() const {
  return {{column(0), column(1), column(2)}};
}

Matrix3 Matrix3::operator*(const Matrix3& other) const {
  Matrix3 product;
  for (std::size_t row = 0; row < 3; ++row) {
    product.rows[row] = {dot(rows[row], other.column(0)), dot(rows[row], other.column(1)),
                         dot(rows[row], other.column(2))};
  }
  return product;
}

Matrix3 rotation_degrees(double yaw, double pitch, double roll) {
  constexpr double to_radians = std::numbers::pi / 180.0;
  const double cy = std::cos(yaw * to_radians), sy = std::sin(yaw * to_radians);
  const double cp = std::cos(pitch * to_radians), sp = std::sin(pitch * to_radians);
  const double cr = std::cos(roll * to_radians), sr = std::sin(roll * to_radians);
  const Matrix3 about_y{{Vector3{cy, 0, sy}, Vector3{0, 1, 0}, Vector3{-sy, 0, cy}}};
  const Matrix3 about_x{{Vector3{1, 0, 0}, Vector3{0, cp, -sp}, Vector3{0, sp, cp}}};
  const Matrix3 about_z{{Vector3{cr, -sr, 0}, Vector3{sr, cr, 0}, Vector3{0, 0, 1}}};
  return about_y * about_x * about_z;
}

Placement Placement::inverse() const {
  const Matrix3 back = rotation.transposed();
  return {back, -1.0 * (back * position)};
}

Placement Placement::operator*(const Placement& other) const {
  return {rotation * other.rotation, rotation * other.position + position};
}

}  // namespace veyrin::recordings
