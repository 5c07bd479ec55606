// A fixed set of worker threads that share out the rows of jobs, one job after the other.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace veyrin {

/// All calls come from one thread, which does none of the work itself.
class CpuWorkerPool {
 public:
  using RowJob = std::function<void(std::int32_t row)>;

  /// Rows that follow each other in one worker's share.
  static constexpr std::int32_t block_rows = 8;

  /// One worker per hardware thread, 1 where that number is unknown.
  static std::int32_t default_worker_count();

  /// Starts the workers; `worker_count` is at least 1.
  explicit CpuWorkerPool(std::int32_t worker_count = default_worker_count());
  /// Lets the workers end what was started, and joins them.
  ~CpuWorkerPool();
  CpuWorkerPool(const CpuWorkerPool&) = delete;
  CpuWorkerPool& operator=(const CpuWorkerPool&) = delete;

  /// Has `job` called once for each row in [0, row_count), and returns at once. Rows are dealt out in blocks
  /// of `block_rows`, in turns: worker i of N takes the blocks i, i + N, i + 2N and so on, in order. So all
  /// have the same to do also where part of the rows is quickly filled, and a row of equally high jobs always
  /// belongs to the same worker. A worker goes on to its share of the next job without waiting for the
  /// others.
  void start(std::int32_t row_count, RowJob job);

  /// Returns when every call of everything started has ended; then throws the first exception that a call
  /// threw, if there was one.
  void wait();

  /// Both at once.
  void run(std::int32_t row_count, RowJob job);

  using BandJob = std::function<void(std::int32_t begin, std::int32_t end)>;

  /// The same for jobs that keep something from row to row: `job` is called once for each band of
  /// `band_rows` rows, the last one perhaps less, dealt out in turns.
  void run_bands(std::int32_t row_count, std::int32_t band_rows, const BandJob& job);

 private:
  struct Job {
    std::int32_t row_count;
    std::int32_t block;  ///< rows that follow each other in one share
    RowJob call;
  };
  struct Idle {};
  explicit CpuWorkerPool(Idle /*no workers yet*/) {}
  void add(Job job);
  static void run_share(const Job& job, std::int32_t worker, std::int32_t worker_count);
  void serve(std::int32_t worker, std::int32_t worker_count);

  std::mutex mutex_;
  std::condition_variable work_available_;
  std::condition_variable work_finished_;
  // Guarded by the mutex.
  std::deque<Job> jobs_;         // started since the last wait
  std::size_t first_job_ = 0;    // how many were started before those
  std::size_t shares_done_ = 0;  // of jobs_, each worker's share counted
  std::exception_ptr failure_;
  bool stop_ = false;

  std::vector<std::thread> workers_;
};

}  // namespace veyrin
