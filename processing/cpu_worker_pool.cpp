#include "processing/cpu_worker_pool.h"

#include <algorithm>
#include <utility>

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

void CpuWorkerPool::add(Job job) {
  {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
  }
  work_available_.notify_all();
}

void CpuWorkerPool::start(std::int32_t row_count, RowJob job) {
  add({row_count, block_rows, std::move(job)});
}

void CpuWorkerPool::wait() {
  std::unique_lock lock(mutex_);
  work_finished_.wait(lock, [this] { return shares_done_ == jobs_.size() * workers_.size(); });
  first_job_ += jobs_.size();
  jobs_.clear();
  shares_done_ = 0;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void CpuWorkerPool::run(std::int32_t row_count, RowJob job) {
  start(row_count, std::move(job));
  wait();
}

void CpuWorkerPool::run_bands(std::int32_t row_count, std::int32_t band_rows, const BandJob& job) {
  const std::int32_t bands = row_count / band_rows + (row_count % band_rows != 0 ? 1 : 0);
  add({bands, 1, [&](std::int32_t band) {
         const std::int32_t begin = band * band_rows;
         job(begin, begin + std::min(band_rows, row_count - begin));
       }});
  wait();
}

void CpuWorkerPool::run_share(const Job& job, std::int32_t worker, std::int32_t worker_count) {
  const std::int64_t block = job.block;
  for (std::int64_t begin = worker * block; begin < job.row_count; begin += worker_count * block) {
    const std::int64_t end = std::min<std::int64_t>(begin + block, job.row_count);
    for (std::int64_t row = begin; row < end; ++row) job.call(static_cast<std::int32_t>(row));
  }
}

void CpuWorkerPool::serve(std::int32_t worker, std::int32_t worker_count) {
  std::unique_lock lock(mutex_);
  for (std::size_t next = 0;; ++next) {
    work_available_.wait(lock, [&] { return stop_ || next < first_job_ + jobs_.size(); });
    if (next >= first_job_ + jobs_.size()) return;
    // Stays where it is while further jobs are started; it goes only when all shares are done.
    const Job& job = jobs_[next - first_job_];
    lock.unlock();
    std::exception_ptr failure;
    try {
      run_share(job, worker, worker_count);
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    if (failure && !failure_) failure_ = failure;
    if (++shares_done_ == jobs_.size() * static_cast<std::size_t>(worker_count)) work_finished_.notify_one();
  }
}

}  // namespace veyrin
