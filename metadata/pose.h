// Vectors and rigid transforms.
#pragma once

#include <array>
#include <cmath>
#include <concepts>

namespace veyrin {

/// A rigid transform of a frame A in a frame B; maps coordinates of A into B. Positions are metres.
struct Pose {
  std::array<float, 3> plus_x{1.0F, 0.0F, 0.0F};    ///< x axis of A in B
  std::array<float, 3> y{0.0F, 1.0F, 0.0F};         ///< y axis of A in B, plus_z x plus_x
  std::array<float, 3> plus_z{0.0F, 0.0F, 1.0F};    ///< z axis of A in B
  std::array<float, 3> position{0.0F, 0.0F, 0.0F};  ///< origin of A in B
};

/// 4x4 matrix, column-major.
using Matrix4 = std::array<float, 16>;

/// The transform that applies `inner` first, then `outer`.
Pose compose(const Pose& outer, const Pose& inner);

/// The transform from B to A. The axes must be orthonormal: the rotation is transposed.
Pose inverse(const Pose& pose);

/// The pose as a matrix whose columns are the three axes and the position.
Matrix4 to_matrix(const Pose& pose);

/// Euclidean length.
template <std::floating_point Real>
Real length(const std::array<Real, 3>& v) {
  return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

/// a x b.
template <std::floating_point Real>
constexpr std::array<Real, 3> cross_product(const std::array<Real, 3>& a, const std::array<Real, 3>& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

}  // namespace veyrin
