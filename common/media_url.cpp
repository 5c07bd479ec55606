#include "common/media_url.h"

#include "common/platform/path_text.h"

namespace veyrin {

std::string media_url(const std::filesystem::path& path) {
  return "file:" + platform::path_to_utf8(path);
}

}  // namespace veyrin
