// Owner of one Win32 handle.
#pragma once

#include <windows.h>

#include <utility>

namespace veyrin::platform {

/// Closes its handle at the end of its life; a null or invalid handle means none.
class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE value) : value_(value == INVALID_HANDLE_VALUE ? nullptr : value) {}
  ~Handle() { reset(); }
  Handle(Handle&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  [[nodiscard]] HANDLE get() const { return value_; }
  [[nodiscard]] bool valid() const { return value_ != nullptr; }
  void reset() {
    if (valid()) CloseHandle(std::exchange(value_, nullptr));
  }

 private:
  HANDLE value_ = nullptr;
};

}  // namespace veyrin::platform
