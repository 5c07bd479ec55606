#include "convert/pair_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "common/console.h"
#include "common/error_text.h"

namespace veyrin {
namespace {

// Missing frames are made up by repeating the next one. Cameras lose some; a gap of more than this is worth a
// line, since filling it takes a while.
constexpr double noticed_gap_seconds = 60.0;

// Only broken time stamps leave out more than this, and filling such a gap would fill the disk.
constexpr double longest_filled_gap_seconds = 24 * 3600.0;

constexpr int frames_between_counts = 30;

void print_percent(const ProgressReport& report) {
  if (report.percent) console_line("  progress_percent: %d", *report.percent);
}

void print_encoded_frames(const ProgressReport& report) {
  if (report.encoded_frames)
    console_line("  encoded_frames: %lld", static_cast<long long>(*report.encoded_frames));
}

// Where the movie's frames and the pairs are counted from is the same place.
TimeRange counted_range(const TimingPlan& timing, const MovieSink& movie) {
  TimeRange range = timing.range;
  if (movie.counts_from_container_start()) range.start += timing.container_start_seconds;
  return range;
}

bool has_time(const DecodedFrame& frame) {
  return !frame.frame || frame.frame->best_effort_timestamp != AV_NOPTS_VALUE;
}

}  // namespace

PairConversion::PairConversion(const TimingPlan& timing, const Processors& processors, MovieSink& movie,
                               Progress& progress)
    : processors_(processors),
      movie_(movie),
      progress_(progress),
      pacer_(counted_range(timing, movie), timing.output_rate, timing.input_rate) {}

PairConversion::~PairConversion() {
  try {
    wait_for_processors();
  } catch (...) {
    // Somebody has failed before, or would have called `finish`.
  }
}

bool PairConversion::convert(DecodedFrame left, DecodedFrame right, std::string& error) {
  const double pair_time = time_of(left, right);
  switch (pacer_.decide(pair_time)) {
    case PairDecision::drop:
      return true;
    case PairDecision::finish:
      finished_ = true;
      return true;
    case PairDecision::encode:
      break;
  }
  if (!accept_gap(pair_time, error)) return false;
  watch_step(left, right, pair_time);
  std::optional<Picture> next = begin(std::move(left), std::move(right), error);
  if (!next) return false;
  count_frames(*next, pair_time);
  std::optional<Picture> ready = std::exchange(pending_, std::move(next));
  if (!ready || write(std::move(*ready), error)) return true;
  wait_for_processors();
  pending_.reset();
  return false;
}

bool PairConversion::finish(std::string& error) {
  wait_for_processors();
  std::optional<Picture> ready = std::exchange(pending_, std::nullopt);
  return !ready || write(std::move(*ready), error);
}

// The later of the two times. A frame without one belongs to the other eye's; where both have none, one input
// frame has passed since the last pair.
double PairConversion::time_of(const DecodedFrame& left, const DecodedFrame& right) {
  double time = std::max(left.time_seconds, right.time_seconds);
  if (!has_time(left)) time = right.time_seconds;
  if (!has_time(right)) time = left.time_seconds;
  if (!has_time(left) && !has_time(right))
    time = last_pair_time_ ? *last_pair_time_ + pacer_.input_frame_seconds() : 0.0;
  if (!told_of_missing_times_ && !(has_time(left) && has_time(right))) {
    report([time] {
      console_line(
          "  missing_time_stamps: frames without one are taken as following each other, first at %.6f s",
          time);
    });
    told_of_missing_times_ = true;
  }
  last_pair_time_ = time;
  return time;
}

void PairConversion::watch_step(const DecodedFrame& left, const DecodedFrame& right, double pair_time) {
  if (!has_time(left) || !has_time(right)) return;
  if (!pacer_.out_of_step(left.time_seconds, right.time_seconds)) return;
  if (++pairs_out_of_step_ > 1) return;
  const double apart = std::abs(left.time_seconds - right.time_seconds);
  report([apart, pair_time] {
    console_line("  eyes_out_of_step: left and right frame are %.6f s apart, first at %.6f s", apart,
                 pair_time);
  });
}

void PairConversion::report_pairs_out_of_step() const {
  if (pairs_out_of_step_ > 0)
    console_line("  pairs_out_of_step: %lld", static_cast<long long>(pairs_out_of_step_));
}

bool PairConversion::accept_gap(double pair_time, std::string& error) {
  const double gap = pacer_.gap_before(pair_time);
  if (gap <= noticed_gap_seconds) return true;
  if (gap > longest_filled_gap_seconds) {
    return fail(error, "the recording has no picture for " + std::to_string(std::llround(gap)) +
                           " seconds, more than the 24 hours that can be filled");
  }
  report([gap, pair_time] {
    console_line("  picture_gap: %.6f s without a picture before %.6f s, filled with the next one", gap,
                 pair_time);
  });
  return true;
}

// The pair before may still have its progress to print.
void PairConversion::report(std::function<void()> line) {
  if (pending_)
    pending_->later_lines.push_back(std::move(line));
  else
    line();
}

// Hands the pair to the processors once they are done with the one before.
std::optional<PairConversion::Picture> PairConversion::begin(DecodedFrame left, DecodedFrame right,
                                                             std::string& error) {
  Picture picture;
  picture.left = std::move(left);
  picture.right = std::move(right);
  if (!picture.left.frame || !picture.right.frame) {
    error = "decoded frames were not available to the YUV pipeline";
    return std::nullopt;
  }
  picture.canvases = movie_.next_canvases(error);
  if (picture.canvases.empty()) return std::nullopt;
  wait_for_processors();
  for (std::size_t index = 0; index < picture.canvases.size(); ++index) {
    if (processors_[index]->start(picture.left.frame.get(), picture.right.frame.get(),
                                  picture.canvases[index].get(), error))
      continue;
    wait_for_processors();
    return std::nullopt;
  }
  return picture;
}

void PairConversion::count_frames(Picture& picture, double pair_time) {
  picture.run.first = pacer_.frames_written();
  do {
    pacer_.advance();
  } while (pacer_.repeats(pair_time));
  picture.run.count = pacer_.frames_written() - picture.run.first;
  picture.seconds_done = pacer_.seconds_done();
}

bool PairConversion::write(Picture picture, std::string& error) {
  if (!movie_.write_canvases(std::move(picture.canvases), picture.run, error)) return false;
  progress_.print_after_pair(picture.run.first + picture.run.count, picture.seconds_done);
  for (const auto& print : picture.later_lines) print();
  return true;
}

void PairConversion::wait_for_processors() const {
  for (const auto& processor : processors_) processor->wait();
}

ProgressReport Progress::after_pair(std::int64_t encoded_frames, double seconds_done) {
  ProgressReport report;
  if (encoded_frames % frames_between_counts == 0) report.encoded_frames = encoded_frames;
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

void Progress::print_after_pair(std::int64_t encoded_frames, double seconds_done) {
  const ProgressReport report = after_pair(encoded_frames, seconds_done);
  print_encoded_frames(report);
  print_percent(report);
}

void Progress::print_at_end(std::int64_t encoded_frames) {
  const ProgressReport report = at_end(encoded_frames);
  print_percent(report);
  print_encoded_frames(report);
}

}  // namespace veyrin
