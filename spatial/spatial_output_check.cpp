#include "spatial/spatial_output_check.h"

#include <system_error>

#include "common/error_text.h"
#include "common/platform/files.h"

namespace veyrin {

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

}  // namespace veyrin
