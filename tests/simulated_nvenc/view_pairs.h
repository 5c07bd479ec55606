// Pictures as they are handed in, one call per view.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/simulated_nvenc/stream_coder.h"

namespace veyrin::simulated_nvenc {

/// One view of a moment, with what its output has to carry.
struct Submission {
  std::uint32_t view_id = 0;
  std::uint64_t time_stamp = 0;
  std::uint64_t duration = 0;
  std::uint32_t frame_index = 0;
  bool force_idr = false;
  Planes planes;
  std::vector<std::uint8_t> message;  ///< comes in front of the view's slices
};

/// Collects the views of each moment, in the one order that is allowed.
class ViewPairs {
 public:
  explicit ViewPairs(int views) : views_(views) {}

  /// All views of a moment once its last one has come. Throws a Refusal for a view out of order or of another
  /// time.
  std::optional<std::vector<Submission>> add(Submission submission);
  /// Throws a Refusal when a moment lacks views, which are forgotten.
  void finish();

 private:
  int views_;
  std::vector<Submission> waiting_;
};

}  // namespace veyrin::simulated_nvenc
