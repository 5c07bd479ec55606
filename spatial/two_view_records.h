// The records of the two-view encoder's program, taken off its output by a thread of their own: a program
// whose output nobody reads stops reading its input.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <variant>

#include "spatial/two_view_protocol.h"

namespace veyrin::two_view {

/// The regular end.
struct Done {
  std::uint64_t units = 0;
};
/// The program's own message.
struct Failed {
  std::string message;
};
/// What it did instead of keeping to the protocol: "sent what is no answer".
struct Broken {
  std::string what;
};

/// All but the first two kinds end the output.
using Record = std::variant<Opened, Unit, Done, Failed, Broken>;

/// Used by one thread beside its own.
class RecordQueue {
 public:
  /// Blocks until some bytes are there and gives their number; 0 at the end of the output.
  using Read = std::function<std::size_t(std::span<std::byte> into)>;

  /// Starts reading.
  explicit RecordQueue(Read read);
  /// Returns when the output has ended; whoever may not wait for that ends the program first.
  ~RecordQueue();
  RecordQueue(const RecordQueue&) = delete;
  RecordQueue& operator=(const RecordQueue&) = delete;

  /// The next record that has arrived, nothing when there is none. The ending one is given again and again.
  [[nodiscard]] std::optional<Record> take_arrived();

  /// Waits for the next record.
  [[nodiscard]] Record take();

  /// Records read so far, which tells whether the program does anything.
  [[nodiscard]] std::uint64_t arrived() const;

 private:
  void serve();
  [[nodiscard]] Record read_record();
  [[nodiscard]] bool read_all(std::span<std::uint8_t> into);
  [[nodiscard]] std::optional<Record> take_front();

  Read read_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by the mutex.
  std::deque<Record> records_;
  std::uint64_t arrived_ = 0;

  std::thread reader_;
};

}  // namespace veyrin::two_view
