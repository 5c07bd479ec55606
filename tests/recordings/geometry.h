// Geometry in double precision for the recording maker, independent of the converter's.
#pragma once

#include <array>
#include <cmath>

namespace veyrin::recordings {

struct Vector3 {
  double x = 0.0, y = 0.0, z = 0.0;
};

inline Vector3 operator+(Vector3 a, Vector3 b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vector3 operator-(Vector3 a, Vector3 b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vector3 operator*(double s, Vector3 a) {
  return {s * a.x, s * a.y, s * a.z};
}
inline double dot(Vector3 a, Vector3 b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline double length(Vector3 a) {
  return std::sqrt(dot(a, a));
}

/// A 3x3 matrix by rows.
struct Matrix3 {
  std::array<Vector3, 3> rows{Vector3{1, 0, 0}, Vector3{0, 1, 0}, Vector3{0, 0, 1}};

  [[nodiscard]] Vector3 operator*(Vector3 v) const {
    return {dot(rows[0], v), dot(rows[1], v), dot(rows[2], v)};
  }
  [[nodiscard]] Vector3 column(int index) const;
  [[nodiscard]] Matrix3 transposed() const;
  [[nodiscard]] Matrix3 operator*(const Matrix3& other) const;
};

/// Rotation by angles in degrees: roll about z first, then pitch about x, then yaw about y.
Matrix3 rotation_degrees(double yaw, double pitch, double roll);

/// A frame A in a frame B: p_in_B = rotation * p_in_A + position. Metres.
struct Placement {
  Matrix3 rotation;
  Vector3 position;

  [[nodiscard]] Placement inverse() const;
  /// `other` applied first, then this one.
  [[nodiscard]] Placement operator*(const Placement& other) const;
  [[nodiscard]] Vector3 operator*(Vector3 point) const { return rotation * point + position; }
};

}  // namespace veyrin::recordings
