// Libraries that are looked up while the program runs, because a machine may not have them.
#pragma once

#include <memory>
#include <string>

namespace veyrin::platform {

/// A loaded library; unloaded with the object, after which its functions must not be called.
class SharedLibrary {
 public:
  /// Loads the library of this file name (UTF-8), searched as the system searches, or of this path; null when
  /// there is none or it cannot be loaded.
  [[nodiscard]] static std::unique_ptr<SharedLibrary> load(const std::string& name);
  ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  /// The exported function of this name; null when the library exports none. The caller vouches for the type.
  template <typename Function>
  [[nodiscard]] Function* function(const char* name) const {
    return reinterpret_cast<Function*>(address_of(name));
  }

 private:
  /// Takes the system's handle over, which is not null.
  explicit SharedLibrary(void* handle) : handle_(handle) {}
  [[nodiscard]] void* address_of(const char* name) const;

  void* handle_;
};

}  // namespace veyrin::platform
