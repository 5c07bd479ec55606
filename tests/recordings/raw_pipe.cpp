#include "tests/recordings/raw_pipe.h"

#include <filesystem>

#include "common/platform/files.h"

namespace veyrin::recordings {

bool RawPipe::start(const std::vector<std::string>& words, std::string& error) {
  program_ = words.front();
  platform::ChildProcessRequest request;
  request.executable = platform::path_from_utf8(program_);
  request.arguments.assign(words.begin() + 1, words.end());
  request.working_directory = std::filesystem::current_path();
  request.input = platform::ChildInput::pipe;
  platform::ChildStartFailure failure;
  child_ = platform::ChildProcess::start(request, failure);
  if (!child_) error = "could not start " + program_ + " (" + failure.system_error + ")";
  return child_ != nullptr;
}

bool RawPipe::write(const std::vector<std::uint8_t>& bytes, std::string& error) {
  const bool written = child_->write(bytes.data(), bytes.size());
  if (!written) error = program_ + " stopped while taking data";
  return written;
}

bool RawPipe::finish(std::string& error) {
  child_->close_input();
  if (child_->wait() == 0) return true;
  error = program_ + " failed";
  return false;
}

}  // namespace veyrin::recordings
