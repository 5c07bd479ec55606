// Planar 4:2:0 pictures, and the colour coding from signals to code values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/recordings/scene.h"

namespace veyrin::recordings {

/// How R'G'B' becomes Y'CbCr codes.
struct ColourCoding {
  int bits = 8;             ///< 8 or 10
  bool full_range = false;  ///< otherwise limited
  bool hlg = false;         ///< HLG, BT.2020 with non-constant luminance; otherwise BT.709
};

/// Codes before rounding.
struct Yuv {
  double y = 0.0, u = 0.0, v = 0.0;
};

/// Codes of a scene colour, which is given as a BT.709 signal. HLG shows the same light, with white at 75 %
/// of the signal range as in ITU-R BT.2408.
Yuv encode_colour(Colour colour, const ColourCoding& coding);

/// Codes of an R'G'B' signal in this coding.
Yuv encode_signal(Colour signal, const ColourCoding& coding);

/// A 4:2:0 picture of even size. Samples have 16 bits at every bit depth.
struct Picture {
  Picture() = default;
  Picture(int picture_width, int picture_height);

  int width = 0, height = 0;
  std::vector<std::uint16_t> y, u, v;

  /// Stores codes, rounded to the bit depth.
  void set_luma(int column, int row, double code, int bits);
  void set_chroma(int column, int row, double u_code, double v_code, int bits);
  [[nodiscard]] std::size_t luma_index(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column);
  }
  [[nodiscard]] std::size_t chroma_index(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(width / 2) +
           static_cast<std::size_t>(column);
  }

  /// Moves every sample towards one colour, as a flash light does.
  void wash(const Yuv& towards, double share, int bits);

  /// The raw bytes of yuv420p (8 bit) or yuv420p10le, planes in order.
  void append_raw(int bits, std::vector<std::uint8_t>& bytes) const;
};

}  // namespace veyrin::recordings
