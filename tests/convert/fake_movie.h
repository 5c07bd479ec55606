// A movie that only notes what is written to it, and processors to go with it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/error_text.h"
#include "convert/movie_output.h"
#include "convert/pair_conversion.h"

namespace veyrin::test {

/// Its canvases are empty frames; processors mark them through `pts`.
class FakeMovie final : public MovieSink {
 public:
  explicit FakeMovie(std::size_t canvas_count = 1) : canvas_count_(canvas_count) {}

  Canvases next_canvases(std::string& error) override {
    ++asked_for_canvases;
    if (!canvas_failure.empty()) {
      error = canvas_failure;
      return {};
    }
    Canvases canvases;
    while (canvases.size() < canvas_count_) canvases.emplace_back(av_frame_alloc());
    return canvases;
  }

  bool write_canvases(Canvases canvases, FrameRun run, std::string& error) override {
    if (on_write) on_write();
    std::vector<std::int64_t> marks;
    for (const FramePtr& canvas : canvases) marks.push_back(canvas->pts);
    for (std::int64_t index = run.first; index < run.first + run.count; ++index) {
      if (indices.size() == fail_at) return fail(error, "could not write");
      indices.push_back(index);
      pictures.push_back(marks);
    }
    return true;
  }

  [[nodiscard]] bool accepts_audio() const override { return false; }
  [[nodiscard]] bool counts_from_container_start() const override { return from_container_start; }
  bool write_audio(AVPacket& /*packet*/, std::string& error) override { return fail(error, "no sound"); }
  bool finish(std::string& /*error*/) override { return true; }

  // What it answers.
  std::string canvas_failure;
  std::size_t fail_at = SIZE_MAX;
  bool from_container_start = false;
  std::function<void()> on_write;  ///< called first

  // What it was asked.
  int asked_for_canvases = 0;
  std::vector<std::int64_t> indices;                ///< of the output frames, in order
  std::vector<std::vector<std::int64_t>> pictures;  ///< per output frame, the mark of each canvas

 private:
  std::size_t canvas_count_;
};

/// Marks the canvas with `factor` times the left frame's pts plus the right frame's.
class MarkingProcessor final : public YuvProcessor {
 public:
  explicit MarkingProcessor(std::int64_t factor = 1000) : factor_(factor) {}

  bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
               std::string& /*error*/) const override {
    output->pts = factor_ * left->pts + right->pts;
    return true;
  }

 private:
  std::int64_t factor_;
};

class RefusingProcessor final : public YuvProcessor {
 public:
  bool process(const AVFrame*, const AVFrame*, AVFrame*, std::string& error) const override {
    return fail(error, "cannot process");
  }
};

/// A pair's frame with a mark and a time.
inline DecodedFrame marked_frame(std::int64_t mark, double seconds) {
  DecodedFrame decoded{FramePtr(av_frame_alloc()), seconds};
  decoded.frame->pts = mark;
  decoded.frame->best_effort_timestamp = 0;
  return decoded;
}

}  // namespace veyrin::test
