#include "common/output_claim.h"

#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "common/platform/lock_file.h"

namespace veyrin {
namespace {

constexpr std::string_view lock_text = "a veyrin-video-converter is writing the file of this name\n";

/// A device or a pipe is nobody's alone.
bool can_be_locked(const std::filesystem::path& file) {
  std::error_code reason;
  const auto type = std::filesystem::status(file, reason).type();
  return type == std::filesystem::file_type::regular || type == std::filesystem::file_type::not_found;
}

/// The lock of a file, or null where none can be made; false with one message when it is held by another
/// process for longer than `patience`, or is no lock file.
[[nodiscard]] bool lock_file(const std::filesystem::path& file, std::chrono::milliseconds patience,
                             std::unique_ptr<platform::LockFile>& lock, std::string& error) {
  using platform::LockFile;
  std::filesystem::path path = file;
  path += ".veyrin-lock";
  const auto end = std::chrono::steady_clock::now() + patience;
  std::string reason;
  auto outcome = LockFile::take(path, lock, reason);
  while (outcome == LockFile::Outcome::held && std::chrono::steady_clock::now() < end) {
    constexpr std::chrono::milliseconds pause{20};
    std::this_thread::sleep_for(pause);
    outcome = LockFile::take(path, lock, reason);
  }
  if (outcome == LockFile::Outcome::held)
    return fail(error, "output is being written by another process: " + platform::path_to_utf8(file));
  if (!lock) return true;
  if (lock->inherited_text().empty() || lock->inherited_text() == lock_text) return true;
  lock->keep_file();
  return fail(error,
              "could not lock output: another program's file has the name " + platform::path_to_utf8(path));
}

}  // namespace

OutputClaim::OutputClaim(std::filesystem::path file) : file_(std::move(file)) {}

OutputClaim::~OutputClaim() = default;

std::unique_ptr<OutputClaim> OutputClaim::create(const std::filesystem::path& output, bool overwrite,
                                                 std::string& error, std::chrono::milliseconds patience) {
  const std::filesystem::path file = overwrite ? platform::follow_links(output) : output;
  std::unique_ptr<OutputClaim> claim(new OutputClaim(file));
  std::unique_ptr<platform::LockFile> lock;
  if (can_be_locked(file) && !lock_file(file, patience, lock, error)) return nullptr;
  if (lock) claim->locks_.push_back(std::move(lock));
  std::error_code unknown;
  claim->replaces_ = platform::name_is_taken(file, unknown);
  if (!claim->replaces_ || overwrite) return claim;
  // It was not there when the job began; another process has made it since.
  error = "output already exists (use --overwrite): " + platform::path_to_utf8(output);
  return nullptr;
}

bool OutputClaim::plan_temporary(const std::filesystem::path& input, const BatchFiles& batch,
                                 const std::filesystem::path& temporary, std::string& error) {
  if (!batch.keep_intact(input, temporary, error)) return false;
  std::unique_ptr<platform::LockFile> lock;
  if (!lock_file(temporary, {}, lock, error)) return false;
  // A holder writes its text when it has found the name free, and what comes there after that is its own.
  const bool is_left_over = lock && lock->inherited_text() == lock_text;
  std::error_code reason;
  const auto type = std::filesystem::symlink_status(temporary, reason).type();
  if (type == std::filesystem::file_type::regular && is_left_over) std::filesystem::remove(temporary, reason);
  if (platform::name_is_taken(temporary, reason)) {
    return fail(error, "temporary file already exists (move it away or delete it): " +
                           platform::path_to_utf8(temporary));
  }
  if (!lock) return true;
  static_cast<void>(lock->write(std::string(lock_text)));
  locks_.push_back(std::move(lock));
  return true;
}

}  // namespace veyrin
