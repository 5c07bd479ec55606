#include "common/platform/path_text.h"

namespace veyrin::platform {

// File names are bytes here; they pass unchanged, valid UTF-8 or not.
std::filesystem::path path_from_utf8(std::string_view text) {
  return {text};
}

std::string path_to_utf8(const std::filesystem::path& path) {
  return path.native();
}

}  // namespace veyrin::platform
