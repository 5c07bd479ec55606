#include "common/platform/environment.h"

namespace veyrin::platform {

bool environment_switch(const char* name) {
  return environment_value(name) == "1";
}

}  // namespace veyrin::platform
