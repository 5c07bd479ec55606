// Light of a picture on footprints: the places in it that the pixels of a view look at.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "rectification/rectified_geometry.h"
#include "thumbnail/color_converter.h"
#include "thumbnail/image.h"

namespace veyrin {

/// A parallelogram in a picture, in its pixels.
struct Footprint {
  struct Edge {
    float x = 0.0F, y = 0.0F;
  };
  ImagePosition centre;
  Edge along_u, along_v;
};

/// Between the corners of a part of a view: upper left, upper right, lower left, lower right. Where the lens
/// bends them, the parallelogram is that of the middles of opposite sides.
Footprint footprint_between(const std::array<ImagePosition, 4>& corners);

/// The footprint at least one pixel wide in every direction, and no more than 64. Nothing when it is less
/// than a pixel everywhere or no number. A square of one pixel reads what interpolation between the pixel
/// centres gives, so that going from shrinking to enlarging is seamless.
[[nodiscard]] std::optional<Footprint> widened(const Footprint& footprint);

/// What a footprint shows.
struct FootprintLight {
  LinearColor mean;    ///< of the part on the picture; 0 when there is none
  float share = 0.0F;  ///< how much of the footprint is on the picture, 0..1
};

/// Reads footprints of one picture. Borrows picture and converter; for one thread.
class FootprintReader {
 public:
  /// `picture` holds the codes that `converter` reads.
  FootprintReader(const SinglePlaneImage& picture, const ColorConverter& converter)
      : picture_(picture), linear_(converter.linear) {}

  /// The exact mean over the footprint, each pixel being a square of one colour that counts by the area of it
  /// that is inside; of a footprint that is less than a pixel wide in every direction the light at its
  /// centre, interpolated.
  [[nodiscard]] FootprintLight read(const Footprint& footprint);

 private:
  [[nodiscard]] FootprintLight interpolated(ImagePosition position) const;
  [[nodiscard]] FootprintLight covered(const Footprint& footprint);
  void draw_edge(ImagePosition from, ImagePosition to);
  void draw_part(float* row, float height, float x_from, float x_to) const;
  void add(Rgba pixel, float weight, LinearColor& sum) const {
    sum.red += weight * linear_[pixel.red];
    sum.green += weight * linear_[pixel.green];
    sum.blue += weight * linear_[pixel.blue];
  }

  const SinglePlaneImage& picture_;
  const std::array<float, 256>& linear_;
  // Of the pixels around a footprint, what the area inside grows by from one to the next along a row.
  std::vector<float> growth_;
  int growth_columns_ = 0;
};

}  // namespace veyrin
