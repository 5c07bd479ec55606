#include "common/same_file.h"

#include <system_error>

#include "common/error_text.h"
#include "common/platform/files.h"

namespace veyrin {

bool output_is_input(const std::filesystem::path& input, const std::filesystem::path& output) noexcept {
  std::error_code unreadable;
  return std::filesystem::equivalent(input, output, unreadable);
}

bool keep_input_intact(const std::filesystem::path& input, const std::filesystem::path& output,
                       std::string& error) {
  if (!output_is_input(input, output)) return true;
  return fail(error, "output would replace its own input: " + platform::path_to_utf8(output));
}

}  // namespace veyrin
