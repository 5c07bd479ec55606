// 3x3 matrices in double precision.
#pragma once

#include <array>
#include <optional>

namespace veyrin {

/// Row-major.
using Matrix3 = std::array<double, 9>;

Matrix3 operator*(const Matrix3& a, const Matrix3& b);

/// The inverse by cofactors; nothing when the determinant is exactly 0. A determinant that is not a number
/// gives a matrix of such, so that a degenerate geometry shows as rays that see nothing.
std::optional<Matrix3> inverse(const Matrix3& matrix);

}  // namespace veyrin
