#include "spatial/two_view_records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <variant>

namespace veyrin::test {
namespace {

using namespace two_view;

/// An output that gives so many bytes at a time and then ends.
RecordQueue::Read output_of(Bytes bytes, std::size_t at_a_time) {
  return [bytes = std::move(bytes), at_a_time, given = std::size_t{0}](std::span<std::byte> into) mutable {
    const std::size_t count = std::min({at_a_time, into.size(), bytes.size() - given});
    std::ranges::copy(std::as_bytes(std::span(bytes).subspan(given, count)), into.begin());
    given += count;
    return count;
  };
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes unit_record(std::int64_t pts, const Bytes& views) {
  const Unit unit{.pts = pts, .dts = pts - 1, .left_bytes = 1, .bytes = {}};
  return write_unit_head(unit, views.size() - 1) + views;
}

std::string broken(Bytes output) {
  RecordQueue queue(output_of(std::move(output), 1000));
  const Record record = queue.take();
  const auto* found = std::get_if<Broken>(&record);
  return found != nullptr ? found->what : "a record of kind " + std::to_string(record.index());
}

TEST(TwoViewRecords, ArriveWholeHoweverTheOutputIsCut) {
  const Bytes output =
      write_opened(Bytes{1, 2, 3}) + unit_record(4, {5, 6}) + unit_record(7, {8, 9}) + write_done(2);
  for (const std::size_t at_a_time : {std::size_t{1}, std::size_t{7}, output.size()}) {
    RecordQueue queue(output_of(output, at_a_time));
    EXPECT_EQ(std::get<Opened>(queue.take()).parameter_sets, (Bytes{1, 2, 3}));
    EXPECT_EQ(std::get<Unit>(queue.take()).pts, 4);
    EXPECT_EQ(std::get<Unit>(queue.take()).bytes, (Bytes{8, 9}));
    for (int again = 0; again < 3; ++again) EXPECT_EQ(std::get<Done>(queue.take()).units, 2U);
    EXPECT_EQ(std::get<Done>(*queue.take_arrived()).units, 2U) << "the end is given again and again";
    EXPECT_EQ(queue.arrived(), 4U);
  }
}

TEST(TwoViewRecords, NothingIsReadBehindTheEnd) {
  RecordQueue queue(output_of(write_failed("no more") + write_done(0), 1000));
  EXPECT_EQ(std::get<Failed>(queue.take()).message, "no more");
  EXPECT_EQ(std::get<Failed>(queue.take()).message, "no more");
  EXPECT_EQ(queue.arrived(), 1U);
}

TEST(TwoViewRecords, ThatAreCutOrNoRecordsEndTheOutput) {
  const std::string early = "ended before its output was complete";
  const std::string nonsense = "sent what is no answer";
  const Bytes unit = unit_record(0, {1, 2});
  EXPECT_EQ(broken({}), early);
  for (const std::size_t size : {std::size_t{1}, RecordHead::size, unit.size() - 1})
    EXPECT_EQ(broken(Bytes(unit.begin(), unit.begin() + static_cast<std::ptrdiff_t>(size))), early) << size;
  EXPECT_EQ(broken({5, 0, 0, 0, 0, 0, 0, 0}), nonsense) << "a kind that is none";
  EXPECT_EQ(broken({3, 0, 0, 0, 1, 0, 0, 0, 9}), nonsense) << "a number of one byte";
  EXPECT_EQ(broken({2, 0, 0, 0, 1, 0, 0, 0x10}), nonsense) << "more than the longest record";
}

TEST(TwoViewRecords, WhatHasNotArrivedIsNotWaitedFor) {
  std::atomic<bool> go{false};
  RecordQueue queue([&go, rest = output_of(write_done(0), 1000)](std::span<std::byte> into) mutable {
    while (!go) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return rest(into);
  });
  EXPECT_FALSE(queue.take_arrived());
  EXPECT_EQ(queue.arrived(), 0U);
  go = true;
  EXPECT_EQ(std::get<Done>(queue.take()).units, 0U);
}

}  // namespace
}  // namespace veyrin::test
