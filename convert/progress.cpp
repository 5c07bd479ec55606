#include "convert/progress.h"

#include <algorithm>
#include <cmath>

namespace veyrin {

ProgressReport Progress::after_pair(std::int64_t encoded_frames, double seconds_done) {
  ProgressReport report;
  if (encoded_frames % 30 == 0) report.encoded_frames = encoded_frames;
  // 100 is kept for the finished file, however far the frames have come.
  const int percent =
      static_cast<int>(std::clamp(std::floor(seconds_done * 100.0 / span_seconds_), 0.0, 99.0));
  if (percent != last_percent_) {
    report.percent = percent;
    last_percent_ = percent;
  }
  return report;
}

ProgressReport Progress::at_end(std::int64_t encoded_frames) {
  ProgressReport report;
  report.encoded_frames = encoded_frames;
  if (last_percent_ != 100) report.percent = 100;
  last_percent_ = 100;
  return report;
}

}  // namespace veyrin
