// What a new process inherits, and the job that it belongs to.
#pragma once

#include <windows.h>

#include <cstddef>
#include <vector>

namespace veyrin::platform {

/// The attribute list that restricts a new process to the given handles and puts it into a job from its first
/// instruction on. What the references name must live as long as this object.
class ProcessAttributes {
 public:
  ProcessAttributes(std::vector<HANDLE>& inherited, HANDLE& job);
  ~ProcessAttributes();
  ProcessAttributes(const ProcessAttributes&) = delete;
  ProcessAttributes& operator=(const ProcessAttributes&) = delete;

  /// Null when the system refused one of the attributes; GetLastError tells why.
  [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST get() const { return complete_ ? list_ : nullptr; }

 private:
  [[nodiscard]] bool set(DWORD_PTR attribute, void* value, std::size_t size);

  std::vector<std::byte> memory_;
  LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
  bool complete_ = false;
};

}  // namespace veyrin::platform
