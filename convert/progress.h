// Progress of a conversion: which report lines follow each written pair, and their printing.
#pragma once

#include <cstdint>
#include <optional>

namespace veyrin {

/// Percentages and counts to print; absent ones are not printed.
struct ProgressReport {
  std::optional<std::int64_t> encoded_frames;
  std::optional<int> percent;
};

class Progress {
 public:
  /// `span_seconds` is the length of the converted range, above 0.
  explicit Progress(double span_seconds) : span_seconds_(span_seconds) {}

  /// After each written pair. `seconds_done` is the output time reached, counted from the trim start.
  ProgressReport after_pair(std::int64_t encoded_frames, double seconds_done);

  /// At the very end: 100 unless that was printed already, and the total.
  ProgressReport at_end(std::int64_t encoded_frames);

  /// The same, printed on the console.
  void print_after_pair(std::int64_t encoded_frames, double seconds_done);
  void print_at_end(std::int64_t encoded_frames);

 private:
  double span_seconds_;
  int last_percent_ = -1;
};

}  // namespace veyrin
