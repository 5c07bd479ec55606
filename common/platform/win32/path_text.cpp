#include "common/platform/path_text.h"

#include "common/platform/win32/wide_text.h"

namespace veyrin::platform {

// A path made from narrow text would take each byte for a character of its own.
std::filesystem::path path_from_utf8(std::string_view text) {
  return {wide_from_utf8(text)};
}

std::string path_to_utf8(const std::filesystem::path& path) {
  return utf8_from_wide(path.native());
}

}  // namespace veyrin::platform
