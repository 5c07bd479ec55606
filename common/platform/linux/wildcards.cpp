#include "common/platform/wildcards.h"

namespace veyrin::platform {

// The shell has done it; what still has a star is a file's own name.
std::vector<std::string> expand_wildcards(const std::string& name) {
  return {name};
}

}  // namespace veyrin::platform
