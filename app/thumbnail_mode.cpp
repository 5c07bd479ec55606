#include "app/thumbnail_mode.h"

#include <filesystem>
#include <system_error>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/files.h"
#include "common/same_file.h"
#include "thumbnail/thumbnail_generator.h"

namespace veyrin {
namespace {

[[nodiscard]] bool check_preview_path(const std::filesystem::path& input, const std::filesystem::path& output,
                                      bool overwrite, std::string& error) {
  if (!keep_input_intact(input, output, error)) return false;
  std::error_code reason;
  const bool exists = std::filesystem::exists(output, reason);
  if (reason) throw std::filesystem::filesystem_error("exists", output, reason);
  if (overwrite || !exists) return true;
  return fail(error, "output already exists: " + platform::path_to_utf8(output));
}

}  // namespace

bool run_thumbnail(const ConversionOptions& options, std::string& error) {
  const std::string& input = options.inputs.front();
  const std::filesystem::path& output = *options.output;
  const std::filesystem::path input_path = platform::path_from_utf8(input);
  if (!check_preview_path(input_path, output, options.overwrite, error)) return false;
  if (!generate_thumbnail(input_path, output, options.thumbnail_width)) {
    return fail(error, "could not generate the thumbnail for " + input);
  }
  console_line("Thumbnail output: %s", platform::path_to_utf8(output).c_str());
  return true;
}

}  // namespace veyrin
