#include "processing/cpu_worker_pool.h"

#include <algorithm>

namespace veyrin {

std::int32_t CpuWorkerPool::default_worker_count() {
  return static_cast<std::int32_t>(std::max(1U, std::thread::hardware_concurrency()));
}

// Delegates so that the destructor joins the workers already started when a further one cannot start.
CpuWorkerPool::CpuWorkerPool(std::int32_t worker_count) : CpuWorkerPool(Idle{}) {
  workers_.reserve(static_cast<std::size_t>(worker_count));
  for (std::int32_t worker = 0; worker < worker_count; ++worker)
    workers_.emplace_back([this, worker, worker_count] { serve(worker, worker_count); });
}

CpuWorkerPool::~CpuWorkerPool() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  work_available_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

void CpuWorkerPool::run(std::int32_t row_count, const RowJob& job) {
  {
    const std::lock_guard lock(mutex_);
    job_ = job;
    row_count_ = row_count;
    finished_ = 0;
    ++generation_;
  }
  work_available_.notify_all();
  std::unique_lock lock(mutex_);
  work_finished_.wait(lock, [this] { return finished_ == static_cast<std::int64_t>(workers_.size()); });
}

void CpuWorkerPool::serve(std::int64_t worker, std::int64_t worker_count) {
  std::uint64_t served = 0;
  std::unique_lock lock(mutex_);
  for (;;) {
    work_available_.wait(lock, [&] { return stop_ || generation_ != served; });
    if (stop_) return;
    served = generation_;
    const RowJob job = job_;
    const auto first = static_cast<std::int32_t>(row_count_ * worker / worker_count);
    const auto last = static_cast<std::int32_t>(row_count_ * (worker + 1) / worker_count);
    lock.unlock();
    for (std::int32_t row = first; row < last; ++row) job(row);
    lock.lock();
    if (++finished_ == worker_count) work_finished_.notify_one();
  }
}

}  // namespace veyrin
