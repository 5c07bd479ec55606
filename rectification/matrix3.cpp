#include "rectification/matrix3.h"

namespace veyrin {

Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
  Matrix3 product{};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      double sum = 0.0;
      for (std::size_t i = 0; i < 3; ++i) sum += a[3 * row + i] * b[3 * i + column];
      product[3 * row + column] = sum;
    }
  }
  return product;
}

std::optional<Matrix3> inverse(const Matrix3& m) {
  const double c0 = m[4] * m[8] - m[5] * m[7];
  const double c1 = m[5] * m[6] - m[3] * m[8];
  const double c2 = m[3] * m[7] - m[4] * m[6];
  const double determinant = m[0] * c0 + m[1] * c1 + m[2] * c2;
  if (determinant == 0.0) return std::nullopt;
  Matrix3 result{c0, m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
                 c1, m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
                 c2, m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
  for (double& element : result) element /= determinant;
  return result;
}

}  // namespace veyrin
