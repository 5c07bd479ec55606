// Joins pictures, which come in one call per view, to frames of all views.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/simulated_nvenc/stream_coder.h"

namespace veyrin::simulated_nvenc {

/// One view of a frame, with what its output must carry.
struct Submission {
  std::uint32_t view_id = 0;
  std::uint64_t time_stamp = 0;
  std::uint64_t duration = 0;
  std::uint32_t frame_index = 0;
  bool force_idr = false;
  Planes planes;
  std::vector<std::uint8_t> message;  ///< written before the slices of the view
};

/// Collects the views of each frame in the only order that is allowed.
class ViewPairs {
 public:
  explicit ViewPairs(int views) : views_(views) {}

  /// All views of a frame once the last one is there. Throws a Refusal for a view out of order or with
  /// another time stamp.
  std::optional<std::vector<Submission>> add(Submission submission);
  /// Throws a Refusal when a frame lacks views, and drops it.
  void finish();

 private:
  int views_;
  std::vector<Submission> waiting_;
};

}  // namespace veyrin::simulated_nvenc
