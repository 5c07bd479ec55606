#include "common/output_guard.h"

#include <system_error>

#include "common/error_text.h"
#include "common/platform/files.h"

namespace veyrin {

bool prepare_output_path(const std::filesystem::path& input, const std::filesystem::path& output,
                         bool overwrite, std::string& error) {
  if (!keep_input_intact(input, output, error)) return false;
  std::error_code status;
  const std::filesystem::path folder = output.parent_path();
  if (!folder.empty()) {
    std::filesystem::create_directories(folder, status);
    if (status) return fail(error, "could not create output directory: " + status.message());
  }
  // A name that cannot be looked up is left to the opening of the file, which says why.
  if (!overwrite && std::filesystem::exists(output, status)) {
    return fail(error, "output already exists (use --overwrite): " + platform::path_to_utf8(output));
  }
  return true;
}

bool check_spatial_output(const std::filesystem::path& output, bool overwrite, std::string& error) {
  // A missing path sets the error code too; only the type tells it from a failed look.
  std::error_code reason;
  const std::filesystem::file_status status = std::filesystem::status(output, reason);
  if (!std::filesystem::status_known(status)) {
    return fail(error, "could not inspect AVP output path: " + reason.message());
  }
  if (overwrite || !std::filesystem::exists(status)) return true;
  return fail(error, "AVP output already exists (use --overwrite): " + platform::path_to_utf8(output));
}

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
