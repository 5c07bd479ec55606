#include "tests/recordings/raw_pipe.h"

namespace veyrin::recordings {
namespace {

void append_shell_word(std::string& command, const std::string& word) {
  command.append(" '");
  for (const char character : word) {
    if (character == '\'') command.append("'\\'");
    command.push_back(character);
  }
  command.push_back('\'');
}

}  // namespace

RawPipe::~RawPipe() {
  if (pipe_ != nullptr) pclose(pipe_);
}

bool RawPipe::start(const std::vector<std::string>& words, std::string& error) {
  program_ = words.front();
  std::string command = "exec";
  for (const std::string& word : words) append_shell_word(command, word);
  pipe_ = popen(command.c_str(), "w");
  if (pipe_ == nullptr) error = "could not start " + program_;
  return pipe_ != nullptr;
}

bool RawPipe::write(const std::vector<std::uint8_t>& bytes, std::string& error) {
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), pipe_) == bytes.size();
  if (!written) error = program_ + " stopped while taking data";
  return written;
}

bool RawPipe::finish(std::string& error) {
  std::FILE* pipe = pipe_;
  pipe_ = nullptr;
  if (pclose(pipe) == 0) return true;
  error = program_ + " failed";
  return false;
}

}  // namespace veyrin::recordings
