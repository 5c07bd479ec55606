#include "metadata/input_options.h"

#include "common/error_text.h"
#include "common/platform/path_text.h"

namespace veyrin {

bool open_input_options(const std::filesystem::path& input, Dictionary& options, std::string& error) {
  if (!platform::path_to_utf8(input).ends_with(".mp4.partial")) return true;
  const int result = options.set("advanced_editlist", "0");
  return result >= 0 || fail(error, library_error_text(result));
}

}  // namespace veyrin
