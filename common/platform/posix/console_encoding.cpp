#include "common/platform/console_encoding.h"

namespace veyrin::platform {

Utf8Console::Utf8Console() = default;

Utf8Console::~Utf8Console() = default;

}  // namespace veyrin::platform
