// Renders what one camera of the rig records.
#pragma once

#include <cstdint>

#include "tests/recordings/picture.h"
#include "tests/recordings/rig.h"

namespace veyrin::recordings {

/// The room does not move, so it is rendered once; each frame adds the board and the targets.
class EyeRenderer {
 public:
  EyeRenderer(const FisheyeCamera& camera, const Placement& in_stage, const ColourCoding& coding);

  /// The picture of one frame; with `flash`, lit by the flash.
  [[nodiscard]] Picture frame(std::uint32_t number, double seconds, bool flash) const;

 private:
  /// Pixels, all bounds even, high bounds exclusive.
  struct Area {
    int left = 0, top = 0, right = 0, bottom = 0;
  };

  [[nodiscard]] Area area_around(double low_x, double low_y, double high_x, double high_y) const;
  void draw_room();
  void draw_board(Picture& picture, std::uint32_t number) const;
  void draw_target(Picture& picture, const Target& target, double seconds) const;

  /// Blends a colour over each pixel of an area; `cover(x, y)` returns it for a position in the image.
  template <typename Cover>
  void draw_over(Picture& picture, const Area& area, Cover cover) const;

  FisheyeCamera camera_;
  Placement in_stage_;
  ColourCoding coding_;
  Unprojector unprojector_;
  Picture room_;
};

}  // namespace veyrin::recordings
