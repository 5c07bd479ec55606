// A temporary folder for a test.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>

#include "common/platform/files.h"

namespace veyrin::test {

/// Created at construction, removed with its contents at destruction.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() /
            ("veyrin_test_" + std::to_string(random()) + "_" + std::to_string(random()));
    if (!std::filesystem::create_directory(path_)) throw std::runtime_error("no temporary folder");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const {
    return path_ / platform::path_from_utf8(name);
  }

 private:
  std::filesystem::path path_;
};

/// The bytes of the file; empty if it cannot be read.
inline std::string file_text(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace veyrin::test
