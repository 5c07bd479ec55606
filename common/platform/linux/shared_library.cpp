#include "common/platform/shared_library.h"

#include <dlfcn.h>

namespace veyrin::platform {

SharedLibrary::SharedLibrary(const std::string& name)
    : handle_(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {}

SharedLibrary::~SharedLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
}

void* SharedLibrary::address_of(const char* name) const {
  return handle_ != nullptr ? dlsym(handle_, name) : nullptr;
}

}  // namespace veyrin::platform
