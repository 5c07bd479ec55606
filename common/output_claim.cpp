#include "common/output_claim.h"

#include <algorithm>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "common/platform/lock_file.h"

namespace veyrin {
namespace {

constexpr std::string_view first_line = "veyrin-video-converter is writing here; its temporary files:\n";

std::filesystem::path lock_path(const std::filesystem::path& file) {
  std::filesystem::path path = file;
  path += ".veyrin-lock";
  return path;
}

/// The lines behind the first one.
std::vector<std::string> temporary_names(const std::string& text) {
  std::vector<std::string> names;
  std::istringstream lines(text.substr(std::min(first_line.size(), text.size())));
  for (std::string line; std::getline(lines, line);) names.push_back(line);
  return names;
}

std::string file_name(const std::filesystem::path& path) {
  return platform::path_to_utf8(path.filename());
}

/// A device or a pipe is nobody's alone.
bool can_be_locked(const std::filesystem::path& file) {
  std::error_code reason;
  const auto type = std::filesystem::status(file, reason).type();
  return type == std::filesystem::file_type::regular || type == std::filesystem::file_type::not_found;
}

}  // namespace

OutputClaim::OutputClaim(std::filesystem::path file, bool replaces)
    : file_(std::move(file)), replaces_(replaces), lock_text_(first_line) {}

OutputClaim::~OutputClaim() = default;

std::unique_ptr<OutputClaim> OutputClaim::create(const std::filesystem::path& output, bool overwrite,
                                                 std::string& error, std::chrono::milliseconds patience) {
  const std::filesystem::path file = overwrite ? platform::follow_links(output) : output;
  std::unique_ptr<OutputClaim> claim(new OutputClaim(file, /*replaces=*/false));
  if (!claim->lock(patience, error)) return nullptr;
  std::error_code unknown;
  claim->replaces_ = platform::name_is_taken(file, unknown);
  if (!claim->replaces_ || overwrite) return claim;
  // It was not there when the job began; another process has made it since.
  error = "output already exists (use --overwrite): " + platform::path_to_utf8(output);
  return nullptr;
}

bool OutputClaim::lock(std::chrono::milliseconds patience, std::string& error) {
  using platform::LockFile;
  if (!can_be_locked(file_)) return true;
  const auto end = std::chrono::steady_clock::now() + patience;
  std::string reason;
  auto outcome = LockFile::take(lock_path(file_), lock_, reason);
  while (outcome == LockFile::Outcome::held && std::chrono::steady_clock::now() < end) {
    constexpr std::chrono::milliseconds pause{20};
    std::this_thread::sleep_for(pause);
    outcome = LockFile::take(lock_path(file_), lock_, reason);
  }
  if (outcome == LockFile::Outcome::held)
    return fail(error, "output is being written by another process: " + platform::path_to_utf8(file_));
  if (!lock_) return true;
  const std::string& text = lock_->inherited_text();
  if (!text.empty() && !text.starts_with(first_line)) {
    lock_->keep_file();
    return fail(error, "could not lock output: another program's file has the name " +
                           platform::path_to_utf8(lock_path(file_)));
  }
  inherited_names_ = temporary_names(text);
  // The names stay until this claim ends too: it may be killed before it has dealt with them.
  for (const std::string& name : inherited_names_) lock_text_ += name + "\n";
  static_cast<void>(lock_->write(lock_text_));
  return true;
}

bool OutputClaim::inherits(const std::filesystem::path& temporary) const {
  return std::ranges::find(inherited_names_, file_name(temporary)) != inherited_names_.end();
}

void OutputClaim::note_temporary(const std::filesystem::path& temporary) {
  if (!lock_ || inherits(temporary)) return;
  lock_text_ += file_name(temporary) + "\n";
  static_cast<void>(lock_->write(lock_text_));
}

bool OutputClaim::plan_temporary(const std::filesystem::path& input, const BatchFiles& batch,
                                 const std::filesystem::path& temporary, std::string& error) {
  if (!batch.keep_intact(input, temporary, error)) return false;
  std::error_code reason;
  const auto type = std::filesystem::symlink_status(temporary, reason).type();
  if (type == std::filesystem::file_type::regular && inherits(temporary))
    std::filesystem::remove(temporary, reason);
  if (!refuse_taken_temporary(temporary, error)) return false;
  note_temporary(temporary);
  return true;
}

bool refuse_taken_temporary(const std::filesystem::path& temporary, std::string& error) {
  std::error_code unknown;
  if (!platform::name_is_taken(temporary, unknown)) return true;
  return fail(error, "temporary file already exists (move it away or delete it): " +
                         platform::path_to_utf8(temporary));
}

}  // namespace veyrin
