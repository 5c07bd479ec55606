#include "common/platform/module_path.h"

#include <system_error>

namespace veyrin::platform {

std::filesystem::path module_path() {
  std::error_code code;
  return std::filesystem::read_symlink("/proc/self/exe", code);
}

std::string executable_file_name(std::string_view name) {
  return std::string(name);
}

}  // namespace veyrin::platform
