// Ends what keeps its caller waiting without doing anything.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace veyrin {

/// Watches one thread that waits for another program.
class StallWatch {
 public:
  using Duration = std::chrono::milliseconds;

  /// `progress` changes whenever the other program does something; `end` makes the wait end, early or not.
  /// Both are called from another thread.
  StallWatch(std::function<std::uint64_t()> progress, std::function<void()> end);
  ~StallWatch();
  StallWatch(const StallWatch&) = delete;
  StallWatch& operator=(const StallWatch&) = delete;

  /// The caller waits while one of these lives, at most `limit` without progress. Time during which this
  /// process itself is stopped does not count.
  class Wait {
   public:
    Wait(StallWatch& watch, Duration limit) : watch_(watch) { watch_.begin(limit); }
    ~Wait() { watch_.finish(); }
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

   private:
    StallWatch& watch_;
  };

  /// True once a wait was ended.
  [[nodiscard]] bool stalled() const;

 private:
  void begin(Duration limit);
  void finish();
  void serve();

  std::function<std::uint64_t()> progress_;
  std::function<void()> end_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by the mutex.
  bool stop_ = false;
  bool waiting_ = false;
  bool stalled_ = false;
  Duration limit_{};
  Duration idle_{};
  std::uint64_t last_progress_ = 0;

  std::thread thread_;
};

}  // namespace veyrin
