// Libraries that are looked up while the program runs, because a machine may not have them.
#pragma once

#include <string>
#include <utility>

namespace veyrin::platform {

/// An opened library; closed with the object, after which its functions must not be called.
class SharedLibrary {
 public:
  /// Opens the library of this file name (UTF-8), searched as the system searches, or of this path. Check
  /// `is_open`.
  explicit SharedLibrary(const std::string& name);
  ~SharedLibrary();
  SharedLibrary(SharedLibrary&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  SharedLibrary& operator=(SharedLibrary&&) = delete;

  [[nodiscard]] bool is_open() const { return handle_ != nullptr; }

  /// The exported function of this name; null when the library is not open or exports none. The caller
  /// vouches for the type.
  template <typename Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(address_of(name));
  }

 private:
  void* address_of(const char* name) const;

  void* handle_ = nullptr;
};

}  // namespace veyrin::platform
