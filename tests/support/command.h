// Command-line programs that check what was written.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace veyrin::test {

/// Runs a shell command and returns its standard output; throws if it fails.
inline std::string output_of(const std::string& command) {
  std::string output;
  FILE* stream = popen(command.c_str(), "r");
  if (stream == nullptr) throw std::runtime_error("could not run: " + command);
  char buffer[65536];
  std::size_t count = 0;
  while ((count = std::fread(buffer, 1, sizeof buffer, stream)) > 0) output.append(buffer, count);
  if (pclose(stream) != 0) throw std::runtime_error("failed: " + command);
  return output;
}

/// The path as one word of a shell command; it must not contain a single quote.
inline std::string quoted(const std::filesystem::path& path) {
  std::string word(1, '\'');
  word.append(path.string()).push_back('\'');
  return word;
}

}  // namespace veyrin::test
