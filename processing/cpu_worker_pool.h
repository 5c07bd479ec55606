// A fixed set of worker threads that share out the rows of one job at a time.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace veyrin {

class CpuWorkerPool {
 public:
  using RowJob = std::function<void(std::int32_t row)>;

  /// One worker per hardware thread, 1 where that number is unknown.
  static std::int32_t default_worker_count();

  /// Starts the workers; `worker_count` is at least 1.
  explicit CpuWorkerPool(std::int32_t worker_count = default_worker_count());
  /// Stops and joins the workers.
  ~CpuWorkerPool();
  CpuWorkerPool(const CpuWorkerPool&) = delete;
  CpuWorkerPool& operator=(const CpuWorkerPool&) = delete;

  /// Calls `job` once for each row in [0, row_count) and returns when all calls have ended. Worker i of N
  /// takes the rows [row_count * i / N, row_count * (i + 1) / N) in order; the caller takes none. Not for
  /// concurrent use.
  void run(std::int32_t row_count, const RowJob& job);

 private:
  struct Idle {};
  explicit CpuWorkerPool(Idle /*no workers yet*/) {}
  void serve(std::int64_t worker, std::int64_t worker_count);

  std::mutex mutex_;
  std::condition_variable work_available_;
  std::condition_variable work_finished_;
  // Guarded by the mutex.
  RowJob job_;
  std::int64_t row_count_ = 0;
  std::uint64_t generation_ = 0;
  std::int64_t finished_ = 0;
  bool stop_ = false;

  std::vector<std::thread> workers_;
};

}  // namespace veyrin
