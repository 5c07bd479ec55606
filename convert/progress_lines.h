// Prints a conversion's progress on the console.
#pragma once

#include <cstdint>

#include "convert/progress.h"

namespace veyrin {

class ProgressLines {
 public:
  /// `span_seconds` is the length of the converted range, above 0.
  explicit ProgressLines(double span_seconds) : progress_(span_seconds) {}

  /// After each written pair. `seconds_done` is the output time reached, counted from the trim start.
  void after_pair(std::int64_t encoded_frames, double seconds_done);

  /// At the very end.
  void at_end(std::int64_t encoded_frames);

 private:
  Progress progress_;
};

}  // namespace veyrin
