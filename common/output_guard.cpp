#include "common/output_guard.h"

#include <system_error>

#include "common/error_text.h"
#include "common/platform/files.h"

namespace veyrin {

bool BatchFiles::keep_intact(const std::filesystem::path& input, const std::filesystem::path& output,
                             std::string& error) const {
  const std::string name = platform::path_to_utf8(output);
  if (is_same_file(input, output)) return fail(error, "output would replace its own input: " + name);
  for (const std::filesystem::path& other : inputs_) {
    if (!is_same_file(other, output)) continue;
    return fail(error, "output would replace another input of this run: " + name + " is " +
                           platform::path_to_utf8(other));
  }
  for (const std::filesystem::path& written : outputs_) {
    if (!is_same_file(written, output)) continue;
    return fail(error, "output would replace another output of this run: " + name + " is " +
                           platform::path_to_utf8(written));
  }
  return true;
}

bool prepare_output_path(const std::filesystem::path& input, const std::filesystem::path& output,
                         bool overwrite, const BatchFiles& batch, std::string& error) {
  if (!batch.keep_intact(input, output, error)) return false;
  std::error_code status;
  const std::filesystem::path folder = output.parent_path();
  if (!folder.empty()) {
    std::filesystem::create_directories(folder, status);
    if (status) return fail(error, "could not create output directory: " + status.message());
  }
  // A name that cannot be looked up is left to the opening of the file, which says why.
  if (!overwrite && platform::name_is_taken(output, status)) {
    return fail(error, "output already exists (use --overwrite): " + platform::path_to_utf8(output));
  }
  if (!output.has_filename())
    return fail(error, "output path has no file name: \"" + platform::path_to_utf8(output) + "\"");
  return true;
}

bool check_spatial_output(const std::filesystem::path& output, bool overwrite, std::string& error) {
  // A missing path sets the error code too; only the type tells it from a failed look.
  std::error_code reason;
  const std::filesystem::file_status status = std::filesystem::status(output, reason);
  if (!std::filesystem::status_known(status)) {
    return fail(error, "could not inspect AVP output path: " + reason.message());
  }
  // A link whose target is missing has no status of its own.
  const bool taken = std::filesystem::exists(status) || platform::name_is_taken(output, reason);
  if (overwrite || !taken) return true;
  return fail(error, "AVP output already exists (use --overwrite): " + platform::path_to_utf8(output));
}

bool is_same_file(const std::filesystem::path& a, const std::filesystem::path& b) noexcept {
  std::error_code unreadable;
  return std::filesystem::equivalent(a, b, unreadable);
}

}  // namespace veyrin
