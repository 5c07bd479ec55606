// Algebra of rigid transforms.
#pragma once

#include <array>

#include "metadata/calibration.h"

namespace veyrin {

/// The transform that applies `inner` first, then `outer`.
Pose compose(const Pose& outer, const Pose& inner);

/// The transform back: the transposed rotation and the position that belongs to it.
Pose inverse(const Pose& pose);

/// The pose as a 4x4 matrix, column-major: the three axes and the position.
Matrix4 to_matrix(const Pose& pose);

/// Euclidean length.
float length(const std::array<float, 3>& v);

/// a x b.
std::array<float, 3> cross_product(const std::array<float, 3>& a, const std::array<float, 3>& b);

}  // namespace veyrin
