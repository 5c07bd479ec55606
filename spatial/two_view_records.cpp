#include "spatial/two_view_records.h"

#include <array>
#include <new>
#include <utility>

namespace veyrin::two_view {
namespace {

constexpr const char* ended_early = "ended before its output was complete";
constexpr const char* makes_no_sense = "sent what is no answer";
constexpr const char* too_large = "sent more than there is memory for";

bool ends_output(const Record& record) {
  return !std::holds_alternative<Opened>(record) && !std::holds_alternative<Unit>(record);
}

template <typename Parsed>
Record or_broken(std::optional<Parsed> parsed) {
  if (!parsed) return Broken{makes_no_sense};
  return std::move(*parsed);
}

Record parse(std::uint32_t kind, ByteSpan body) {
  switch (static_cast<RecordKind>(kind)) {
    case RecordKind::opened:
      return or_broken(parse_opened(body));
    case RecordKind::unit:
      return or_broken(parse_unit(body));
    case RecordKind::done:
      if (const auto units = parse_done(body)) return Done{*units};
      break;
    case RecordKind::failed:
      return Failed{parse_failed(body)};
  }
  return Broken{makes_no_sense};
}

}  // namespace

RecordQueue::RecordQueue(Read read) : read_(std::move(read)), reader_([this] { serve(); }) {}

RecordQueue::~RecordQueue() {
  reader_.join();
}

std::optional<Record> RecordQueue::take_arrived() {
  const std::lock_guard lock(mutex_);
  return take_front();
}

Record RecordQueue::take() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !records_.empty(); });
  return *take_front();
}

std::uint64_t RecordQueue::arrived() const {
  const std::lock_guard lock(mutex_);
  return arrived_;
}

std::optional<Record> RecordQueue::take_front() {
  if (records_.empty()) return std::nullopt;
  if (ends_output(records_.front())) return records_.front();
  Record record = std::move(records_.front());
  records_.pop_front();
  return record;
}

void RecordQueue::serve() {
  for (bool ended = false; !ended;) {
    Record record = read_record();
    ended = ends_output(record);
    {
      const std::lock_guard lock(mutex_);
      records_.push_back(std::move(record));
      ++arrived_;
    }
    changed_.notify_all();
  }
}

Record RecordQueue::read_record() {
  std::array<std::uint8_t, RecordHead::size> bytes{};
  if (!read_all(bytes)) return Broken{ended_early};
  const RecordHead head = parse_record_head(bytes);
  if (head.bytes > RecordHead::most_bytes) return Broken{makes_no_sense};
  try {
    Bytes body(head.bytes);
    if (!read_all(body)) return Broken{ended_early};
    return parse(head.kind, body);
  } catch (const std::bad_alloc&) {
    return Broken{too_large};
  }
}

bool RecordQueue::read_all(std::span<std::uint8_t> into) {
  for (std::span<std::byte> rest = std::as_writable_bytes(into); !rest.empty();) {
    const std::size_t count = read_(rest);
    if (count == 0) return false;
    rest = rest.subspan(count);
  }
  return true;
}

}  // namespace veyrin::two_view
