#include "common/platform/environment.h"

#include <cstdlib>

namespace veyrin::platform {

std::optional<std::string> environment_value(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

}  // namespace veyrin::platform
