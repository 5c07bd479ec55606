#include "common/platform/shared_library.h"

#include <windows.h>

#include <filesystem>

#include "common/platform/files.h"

namespace veyrin::platform {
namespace {

// A plain name is looked for beside the program and in the system's folders, never in the current folder,
// where anyone may have put a library of that name.
HMODULE load_module(const std::string& name) {
  const std::filesystem::path path = path_from_utf8(name);
  if (!path.has_parent_path()) {
    return LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  }
  return LoadLibraryExW(std::filesystem::absolute(path).make_preferred().c_str(), nullptr,
                        LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR);
}

}  // namespace

std::unique_ptr<SharedLibrary> SharedLibrary::load(const std::string& name) {
  HMODULE module = load_module(name);
  return module != nullptr ? std::unique_ptr<SharedLibrary>(new SharedLibrary(module)) : nullptr;
}

SharedLibrary::~SharedLibrary() {
  FreeLibrary(static_cast<HMODULE>(handle_));
}

void* SharedLibrary::address_of(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

}  // namespace veyrin::platform
