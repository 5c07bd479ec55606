#include "common/platform/shared_library.h"

#include <dlfcn.h>

namespace veyrin::platform {

std::unique_ptr<SharedLibrary> SharedLibrary::load(const std::string& name) {
  void* handle = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  return handle != nullptr ? std::unique_ptr<SharedLibrary>(new SharedLibrary(handle)) : nullptr;
}

SharedLibrary::~SharedLibrary() {
  dlclose(handle_);
}

void* SharedLibrary::address_of(const char* name) const {
  return dlsym(handle_, name);
}

}  // namespace veyrin::platform
