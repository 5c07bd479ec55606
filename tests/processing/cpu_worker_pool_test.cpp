#include "processing/cpu_worker_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace veyrin::test {
namespace {

/// The rows that each thread was given, in order.
std::map<std::thread::id, std::vector<std::int32_t>> rows_by_thread(CpuWorkerPool& pool,
                                                                    std::int32_t row_count) {
  std::mutex mutex;
  std::map<std::thread::id, std::vector<std::int32_t>> rows;
  pool.run(row_count, [&](std::int32_t row) {
    const std::lock_guard lock(mutex);
    rows[std::this_thread::get_id()].push_back(row);
  });
  return rows;
}

class CpuWorkerPoolSizes : public ::testing::TestWithParam<std::tuple<std::int32_t, std::int32_t>> {};

TEST_P(CpuWorkerPoolSizes, GivesWorkerItsShareInOrder) {
  const auto& [workers, row_count] = GetParam();
  CpuWorkerPool pool(workers);
  auto rows = rows_by_thread(pool, row_count);
  for (std::int32_t worker = 0; worker < workers; ++worker) {
    std::vector<std::int32_t> share;
    for (std::int32_t row = 0; row < row_count; ++row)
      if (row / CpuWorkerPool::block_rows % workers == worker) share.push_back(row);
    if (share.empty()) continue;
    const auto owner =
        std::find_if(rows.begin(), rows.end(), [&](const auto& entry) { return entry.second == share; });
    ASSERT_NE(owner, rows.end()) << "no thread served exactly the rows from " << share.front();
    rows.erase(owner);
  }
  EXPECT_TRUE(rows.empty());
}

INSTANTIATE_TEST_SUITE_P(WorkersAndRows, CpuWorkerPoolSizes,
                         ::testing::Combine(::testing::Values(1, 2, 3, 7, 16),
                                            ::testing::Values(0, 1, 2, 8, 16, 17, 101)));

TEST(CpuWorkerPool, LeavesTheCallerOutOfTheWork) {
  CpuWorkerPool pool(2);
  EXPECT_FALSE(rows_by_thread(pool, 20).contains(std::this_thread::get_id()));
}

TEST(CpuWorkerPool, ReturnsOnlyWhenEveryRowHasEnded) {
  CpuWorkerPool pool(4);
  std::atomic<std::int32_t> ended = 0;
  for (int job = 1; job <= 50; ++job) {
    pool.run(13, [&ended](std::int32_t) {
      std::this_thread::yield();
      ended.fetch_add(1, std::memory_order_relaxed);
    });
    ASSERT_EQ(ended.load(), 13 * job);
  }
}

TEST(CpuWorkerPool, RunsEachJobOnceWhenJobsFollowAtOnce) {
  CpuWorkerPool pool(3);
  std::vector<int> calls(64, 0);
  for (int job = 0; job < 500; ++job)
    pool.run(64, [&calls](std::int32_t row) { ++calls[static_cast<std::size_t>(row)]; });
  EXPECT_EQ(calls, std::vector<int>(64, 500));
}

TEST(CpuWorkerPool, RowsWrittenByAJobAreSeenByTheCallerAndTheNextJob) {
  CpuWorkerPool pool(5);
  std::vector<int> first(100, 0);
  std::vector<int> reversed(100, 0);
  pool.run(100, [&](std::int32_t row) { first[static_cast<std::size_t>(row)] = row + 1; });
  pool.run(100, [&](std::int32_t row) {
    reversed[static_cast<std::size_t>(row)] = first[static_cast<std::size_t>(99 - row)];
  });
  for (int row = 0; row < 100; ++row) EXPECT_EQ(reversed[static_cast<std::size_t>(row)], 100 - row);
}

TEST(CpuWorkerPool, GivesBackTheCallerWhileJobsRun) {
  CpuWorkerPool pool(2);
  std::promise<void> go;
  const std::shared_future<void> gone(go.get_future());
  std::atomic<int> calls = 0;
  for (int job = 0; job < 3; ++job) {
    pool.start(20, [&calls, gone](std::int32_t) {
      gone.wait();
      ++calls;
    });
  }
  EXPECT_EQ(calls.load(), 0);
  go.set_value();
  pool.wait();
  EXPECT_EQ(calls.load(), 60);
  pool.wait();  // nothing is left to wait for
}

TEST(CpuWorkerPool, KeepsTheOrderOfJobsInEachRow) {
  CpuWorkerPool pool(3);
  std::vector<std::vector<int>> jobs_of_row(50);
  for (int job = 0; job < 40; ++job)
    pool.start(50, [&jobs_of_row, job](std::int32_t row) {
      jobs_of_row[static_cast<std::size_t>(row)].push_back(job);
    });
  pool.wait();
  for (const std::vector<int>& jobs : jobs_of_row) {
    EXPECT_EQ(jobs.size(), 40U);
    EXPECT_TRUE(std::ranges::is_sorted(jobs));
  }
}

TEST(CpuWorkerPool, GivesWholeBands) {
  CpuWorkerPool pool(3);
  for (const std::int32_t rows : {0, 1, 16, 17, 100}) {
    std::mutex mutex;
    std::map<std::int32_t, std::int32_t> bands;
    pool.run_bands(rows, 16, [&](std::int32_t begin, std::int32_t end) {
      const std::lock_guard lock(mutex);
      EXPECT_TRUE(bands.emplace(begin, end).second);
    });
    std::int32_t expected_begin = 0;
    for (const auto& [begin, end] : bands) {
      EXPECT_EQ(begin, expected_begin);
      EXPECT_EQ(end, std::min(begin + 16, rows));
      expected_begin = end;
    }
    EXPECT_EQ(expected_begin, rows);
  }
}

TEST(CpuWorkerPool, HandsAnExceptionToTheOneWhoWaits) {
  CpuWorkerPool pool(2);
  pool.start(40, [](std::int32_t row) {
    if (row % 16 == 3) throw std::runtime_error("row");
  });
  EXPECT_THROW(pool.wait(), std::runtime_error);
  std::atomic<int> calls = 0;
  pool.run(40, [&calls](std::int32_t) { ++calls; });
  EXPECT_EQ(calls.load(), 40) << "the workers went on";
}

TEST(CpuWorkerPool, EndsWhatWasStartedBeforeItGoes) {
  std::atomic<int> calls = 0;
  {
    CpuWorkerPool pool(2);
    for (int job = 0; job < 5; ++job) pool.start(20, [&calls](std::int32_t) { ++calls; });
  }
  EXPECT_EQ(calls.load(), 100);
}

TEST(CpuWorkerPool, EndsWithoutEverHavingRun) {
  std::promise<void> ended;
  std::future<void> end = ended.get_future();
  std::thread([promise = std::move(ended)]() mutable {
    { const CpuWorkerPool pool(8); }
    promise.set_value();
  }).detach();
  EXPECT_EQ(end.wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

TEST(CpuWorkerPool, HasOneWorkerPerHardwareThreadByDefault) {
  const std::size_t hardware = std::thread::hardware_concurrency();
  ASSERT_GT(hardware, 0U) << "this system does not tell";
  CpuWorkerPool pool;
  // More rows than workers, so every worker shows up.
  EXPECT_EQ(rows_by_thread(pool, static_cast<std::int32_t>(64 * hardware)).size(), hardware);
  EXPECT_EQ(CpuWorkerPool::default_worker_count(), static_cast<std::int32_t>(hardware));
}

}  // namespace
}  // namespace veyrin::test
