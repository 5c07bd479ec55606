#include "common/platform/win32/process_attributes.h"

namespace veyrin::platform {

ProcessAttributes::ProcessAttributes(std::vector<HANDLE>& inherited, HANDLE& job) {
  constexpr DWORD attribute_count = 2;
  SIZE_T size = 0;
  InitializeProcThreadAttributeList(nullptr, attribute_count, 0, &size);
  memory_.resize(size);
  auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  if (InitializeProcThreadAttributeList(list, attribute_count, 0, &size) == 0) return;
  list_ = list;
  complete_ = set(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited.data(), inherited.size() * sizeof(HANDLE)) &&
              set(PROC_THREAD_ATTRIBUTE_JOB_LIST, &job, sizeof job);
}

ProcessAttributes::~ProcessAttributes() {
  if (list_ != nullptr) DeleteProcThreadAttributeList(list_);
}

bool ProcessAttributes::set(DWORD_PTR attribute, void* value, std::size_t size) {
  return UpdateProcThreadAttribute(list_, 0, attribute, value, size, nullptr, nullptr) != 0;
}

}  // namespace veyrin::platform
