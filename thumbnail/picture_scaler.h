// Whole pictures in another size and turned upright.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "media/video_types.h"
#include "processing/cpu_worker_pool.h"
#include "thumbnail/color_converter.h"
#include "thumbnail/image.h"

namespace veyrin {

/// How the pixels along one side of a scaled picture are made of the source's. Shrinking, a pixel is the
/// exact mean of what it covers: each source pixel counts by the fraction of it that lies inside. Enlarging,
/// it is interpolated between the two source pixels around its centre; beyond the outermost centres the
/// picture goes on as there.
class ScaledAxis {
 public:
  /// Both lengths are at least 1.
  ScaledAxis(int source_length, int target_length);

  /// The source pixels of one pixel and their weights, whose sum is 1.
  struct Taps {
    int first = 0;
    std::span<const float> weights;
  };
  [[nodiscard]] Taps taps(int target) const {
    const Entry& entry = entries_[static_cast<std::size_t>(target)];
    return {entry.first, std::span(weights_).subspan(entry.offset, entry.count)};
  }

 private:
  struct Entry {
    int first;
    std::size_t offset, count;
  };
  void cover(std::int64_t target, std::int64_t source_length, std::int64_t target_length);
  void interpolate(int target, int source_length, int target_length);
  void add(int first, std::span<const float> weights);

  std::vector<Entry> entries_;
  std::vector<float> weights_;
};

/// The picture in the target's size, brought to the screen's colours; the mean of pixels is taken in linear
/// light. `picture` holds the codes that `converter` reads. Null when the size is beyond memory.
[[nodiscard]] ImagePtr scaled_picture(const SinglePlaneImage& picture, const ColorConverter& converter,
                                      Size target, CpuWorkerPool& pool);

/// The picture after clockwise quarter turns (0..3); null when memory is short.
[[nodiscard]] ImagePtr turned_picture(const SinglePlaneImage& picture, int quarter_turns);

}  // namespace veyrin
