#include "spatial/stall_watch.h"

#include <algorithm>
#include <utility>

namespace veyrin {
namespace {

// Time is counted in steps: however long this process itself was stopped, that was one step.
constexpr StallWatch::Duration longest_step{1000};
constexpr int least_steps = 20;

}  // namespace

StallWatch::StallWatch(std::function<std::uint64_t()> progress, std::function<void()> end)
    : progress_(std::move(progress)), end_(std::move(end)), thread_([this] { serve(); }) {}

StallWatch::~StallWatch() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

bool StallWatch::stalled() const {
  const std::lock_guard lock(mutex_);
  return stalled_;
}

void StallWatch::begin(Duration limit) {
  {
    const std::lock_guard lock(mutex_);
    waiting_ = true;
    limit_ = limit;
    idle_ = Duration{0};
    last_progress_ = progress_();
  }
  changed_.notify_all();
}

void StallWatch::finish() {
  const std::lock_guard lock(mutex_);
  waiting_ = false;
}

void StallWatch::serve() {
  std::unique_lock lock(mutex_);
  while (!stop_) {
    if (!waiting_ || stalled_) {
      changed_.wait(lock);
      continue;
    }
    const Duration step = std::min(longest_step, std::max(Duration{1}, limit_ / least_steps));
    if (changed_.wait_for(lock, step) == std::cv_status::no_timeout || !waiting_) continue;
    idle_ += step;
    const std::uint64_t progress = progress_();
    if (progress != last_progress_) idle_ = Duration{0};
    last_progress_ = progress;
    if (idle_ < limit_) continue;
    stalled_ = true;
    end_();
  }
}

}  // namespace veyrin
