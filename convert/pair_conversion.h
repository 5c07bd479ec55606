// Pairs of decoded frames become pictures of the movie: timed, rectified, and written as often as the output
// rate needs, with the report lines that tell how far it is. A pair is rectified while the one before it is
// encoded and the next ones are decoded.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "convert/conversion_plan.h"
#include "convert/frame_timing.h"
#include "convert/movie_output.h"
#include "decode/eye_decoder.h"
#include "processing/yuv_processor.h"

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

/// One processor for each canvas of the movie.
using Processors = std::vector<std::unique_ptr<YuvProcessor>>;

/// Borrows everything it is made of for as long as it lives.
class PairConversion {
 public:
  PairConversion(const TimingPlan& timing, const Processors& processors, MovieSink& movie,
                 Progress& progress);
  /// Waits for the processors.
  ~PairConversion();
  PairConversion(const PairConversion&) = delete;
  PairConversion& operator=(const PairConversion&) = delete;

  /// Takes the next pair and begins to rectify it, and writes the one before it; false with one message in
  /// `error` on failure.
  [[nodiscard]] bool convert(DecodedFrame left, DecodedFrame right, std::string& error);

  /// Writes the last pair. To be called at the end, also when anything failed before: pairs that came before
  /// a damaged place are in the movie.
  [[nodiscard]] bool finish(std::string& error);

  /// True once a pair has reached the end of the range: no later one is wanted.
  [[nodiscard]] bool finished() const { return finished_; }

  /// True for a pair that would be dropped without a trace if it came next.
  [[nodiscard]] bool drops(double pair_time) const { return pacer_.decide(pair_time) == PairDecision::drop; }

  /// Frames written to the movie, or soon to be.
  [[nodiscard]] std::int64_t frames_written() const { return pacer_.frames_written(); }

  /// At the end: prints how many written pairs had frames that do not belong together, if there were any.
  void report_pairs_out_of_step() const;

 private:
  /// A pair that the processors work on, and what is to be done when they are ready.
  struct Picture {
    DecodedFrame left;
    DecodedFrame right;
    Canvases canvases;
    FrameRun run;
    double seconds_done = 0.0;  ///< output time reached with it
    /// Report lines about later pairs, which stand below this one's progress.
    std::vector<std::function<void()>> later_lines;
  };

  [[nodiscard]] double time_of(const DecodedFrame& left, const DecodedFrame& right);
  void watch_step(const DecodedFrame& left, const DecodedFrame& right, double pair_time);
  [[nodiscard]] bool accept_gap(double pair_time, std::string& error);
  void report(std::function<void()> line);
  [[nodiscard]] std::optional<Picture> begin(DecodedFrame left, DecodedFrame right, std::string& error);
  void count_frames(Picture& picture, double pair_time);
  [[nodiscard]] bool write(Picture picture, std::string& error);
  void wait_for_processors() const;

  const Processors& processors_;
  MovieSink& movie_;
  Progress& progress_;
  FramePacer pacer_;
  std::optional<Picture> pending_;
  std::optional<double> last_pair_time_;
  bool told_of_missing_times_ = false;
  std::int64_t pairs_out_of_step_ = 0;
  bool finished_ = false;
};

}  // namespace veyrin
