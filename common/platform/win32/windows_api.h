// The Windows API as this program uses it: owners of kernel handles and COM objects, and text in UTF-16.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <string_view>
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
  /// Gives the handle up without closing it.
  [[nodiscard]] HANDLE release() { return std::exchange(value_, nullptr); }
  void reset() {
    if (valid()) CloseHandle(std::exchange(value_, nullptr));
  }

 private:
  HANDLE value_ = nullptr;
};

struct ComRelease {
  template <typename Object>
  void operator()(Object* object) const {
    object->Release();
  }
};

/// Holds one reference. A raw COM pointer anywhere else is borrowed for the call.
template <typename Object>
using ComPtr = std::unique_ptr<Object, ComRelease>;

/// Holds a further reference to a borrowed object.
template <typename Object>
ComPtr<Object> share_com_object(Object* object) {
  object->AddRef();
  return ComPtr<Object>(object);
}

/// Bytes that are no UTF-8 become U+FFFD.
std::wstring wide_from_utf8(std::string_view text);

/// Halves of a surrogate pair that stand alone become U+FFFD.
std::string utf8_from_wide(std::wstring_view text);

}  // namespace veyrin::platform
