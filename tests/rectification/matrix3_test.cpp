#include "rectification/matrix3.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace veyrin::test {
namespace {

TEST(Matrix3, MultipliesRowsByColumns) {
  const Matrix3 a{1, 2, 3, 4, 5, 6, 7, 8, 10};
  const Matrix3 b{2, 0, 1, 0, 3, 0, 1, 1, 1};
  EXPECT_EQ(a * b, (Matrix3{5, 9, 4, 14, 21, 10, 24, 34, 17}));
}

TEST(Matrix3, InverseGivesTheIdentity) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> element(-10.0, 10.0);
  for (int round = 0; round < 200; ++round) {
    Matrix3 matrix;
    for (double& value : matrix) value = element(random);
    const auto inverted = inverse(matrix);
    ASSERT_TRUE(inverted);
    const Matrix3 product = matrix * *inverted;
    for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(product[i], i % 4 == 0 ? 1.0 : 0.0, 1e-9);
  }
}

TEST(Matrix3, HasNoInverseForAnExactZeroDeterminant) {
  EXPECT_FALSE(inverse(Matrix3{}));
  EXPECT_FALSE(inverse({1, 2, 3, 2, 4, 6, 0, 0, 1}));
  EXPECT_FALSE(inverse({800, 0, 400, 0, 0, 300, 0, 0, 1}));
}

TEST(Matrix3, InvertsNearlySingularMatrices) {
  EXPECT_TRUE(inverse({1e-100, 0, 0, 0, 1e-100, 0, 0, 0, 1}));
}

TEST(Matrix3, CarriesWhatIsNoNumberThrough) {
  Matrix3 matrix;
  matrix.fill(std::numeric_limits<double>::quiet_NaN());
  const auto inverted = inverse(matrix);
  ASSERT_TRUE(inverted);
  for (const double value : *inverted) EXPECT_TRUE(std::isnan(value));
}

}  // namespace
}  // namespace veyrin::test
