// Pairs of decoded frames become pictures of the movie: timed, rectified, and written as often as the output
// rate needs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "convert/conversion_plan.h"
#include "convert/frame_timing.h"
#include "convert/movie_output.h"
#include "convert/progress.h"
#include "decode/eye_decoder.h"
#include "processing/yuv_processor.h"

namespace veyrin {

/// One processor for each canvas of the movie.
using Processors = std::vector<std::unique_ptr<YuvProcessor>>;

/// Borrows everything it is made of for as long as it lives.
class PairConversion {
 public:
  PairConversion(const TimingPlan& timing, const Processors& processors, MovieSink& movie, Progress& progress)
      : processors_(processors),
        movie_(movie),
        progress_(progress),
        pacer_(timing.range, timing.output_rate, timing.input_rate) {}

  /// Takes the next pair; false with one message in `error` on failure.
  [[nodiscard]] bool convert(const DecodedFrame& left, const DecodedFrame& right, std::string& error);

  /// True once a pair has reached the end of the range: no later one is wanted.
  [[nodiscard]] bool finished() const { return finished_; }

  /// Frames written to the movie.
  [[nodiscard]] std::int64_t frames_written() const { return pacer_.frames_written(); }

 private:
  [[nodiscard]] bool write(const DecodedFrame& left, const DecodedFrame& right, double pair_time,
                           std::string& error);

  const Processors& processors_;
  MovieSink& movie_;
  Progress& progress_;
  FramePacer pacer_;
  bool finished_ = false;
};

}  // namespace veyrin
