#include "spatial/stall_watch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;

TEST(StallWatch, EndsAWaitWithoutProgress) {
  std::atomic<int> ends = 0;
  StallWatch watch([] { return 7U; }, [&] { ++ends; });
  {
    const StallWatch::Wait wait(watch, 100ms);
    while (ends == 0) std::this_thread::sleep_for(1ms);
  }
  EXPECT_TRUE(watch.stalled());
  const StallWatch::Wait wait(watch, 1ms);
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(ends, 1) << "once is enough";
}

TEST(StallWatch, LeavesAWaitWithProgressAlone) {
  std::atomic<std::uint64_t> steps = 0;
  std::atomic<int> ends = 0;
  StallWatch watch([&] { return ++steps; }, [&] { ++ends; });
  const StallWatch::Wait wait(watch, 200ms);
  std::this_thread::sleep_for(800ms);
  EXPECT_EQ(ends, 0);
  EXPECT_FALSE(watch.stalled());
}

TEST(StallWatch, DoesNotCountBetweenWaits) {
  std::atomic<int> ends = 0;
  StallWatch watch([] { return 0U; }, [&] { ++ends; });
  for (int i = 0; i < 4; ++i) {
    { const StallWatch::Wait wait(watch, 1000ms); }
    std::this_thread::sleep_for(300ms);
  }
  EXPECT_EQ(ends, 0);
}

}  // namespace
}  // namespace veyrin::test
