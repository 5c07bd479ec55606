// The scene in front of the rig: a room, a board that shows the frame number, and moving targets with known
// centres.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/recordings/geometry.h"

namespace veyrin::recordings {

/// R'G'B' signal, 0..1.
struct Colour {
  double red = 0.0, green = 0.0, blue = 0.0;
};

Colour mix(Colour below, Colour above, double share);

/// A target: a white core on a black disc with a coloured rim, the same seen from everywhere.
struct Target {
  std::string name;
  Colour rim;
  Vector3 rest;       ///< stage frame, metres
  Vector3 amplitude;  ///< swing about the rest position, metres
  double hertz = 0.0, phase = 0.0;
  double core_radius = 0.0;  ///< metres

  [[nodiscard]] Vector3 position(double seconds) const;
  /// Colour and coverage at an angle off the target's centre, both in radians; nothing beyond the rim.
  struct Sample {
    Colour colour;
    double share = 0.0;
  };
  [[nodiscard]] std::optional<Sample> sample(double angle, double core_angle) const;
};

/// Outer edge of a target over its core's radius.
inline constexpr double target_outer_ratio = 2.8;

const std::vector<Target>& targets();

/// The room's surface that a ray from `origin` (stage frame) meets.
Colour room_colour(Vector3 origin, Vector3 direction);

/// The board: two rows of squares on an upright plane. The first column holds one white and one black square
/// for reference, the others the frame's number in binary.
class NumberBoard {
 public:
  static constexpr int bits = 12;
  static constexpr double square_metres = 0.2;
  static constexpr double distance_metres = 2.0;

  static Vector3 white_centre() { return square_centre(0, 0); }
  static Vector3 black_centre() { return square_centre(1, 0); }
  /// Centre of the square of one bit, 0 being the lowest.
  static Vector3 bit_centre(int bit);
  /// Corners of the board's outline, around it.
  static std::vector<Vector3> outline();
  /// The board's colour on a ray; nothing where the ray misses it.
  static std::optional<Colour> colour(Vector3 origin, Vector3 direction, std::uint32_t number);

 private:
  static Vector3 square_centre(int row, int column);
};

}  // namespace veyrin::recordings
