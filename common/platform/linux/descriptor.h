// Owner of one file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace veyrin::platform {

/// Closes its descriptor at the end of its life; -1 means none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int value) : value_(value) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  [[nodiscard]] int get() const { return value_; }
  [[nodiscard]] bool valid() const { return value_ >= 0; }
  /// Gives the descriptor up without closing it.
  [[nodiscard]] int release() { return std::exchange(value_, -1); }
  void reset() {
    if (valid()) close(std::exchange(value_, -1));
  }

 private:
  int value_ = -1;
};

}  // namespace veyrin::platform
