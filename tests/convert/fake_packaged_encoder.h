// A script in the place of the packaged FFmpeg program.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/script.h"

namespace veyrin::test {

/// Lives in a folder of its own, whose name has a blank, and stands in `VEYRIN_FFMPEG_GPL` as long as it
/// exists.
class FakePackagedEncoder {
 public:
  FakePackagedEncoder() : path_(folder_ / "packaged encoder" / "fake") {
    std::filesystem::create_directory(path_.parent_path());
    setenv("VEYRIN_FFMPEG_GPL", path_.c_str(), 1);
  }
  ~FakePackagedEncoder() { unsetenv("VEYRIN_FFMPEG_GPL"); }
  FakePackagedEncoder(const FakePackagedEncoder&) = delete;
  FakePackagedEncoder& operator=(const FakePackagedEncoder&) = delete;

  /// Runs `probe` when asked for its abilities and `encode` for a movie; both are script text. The log level
  /// tells which of the two is meant.
  void write(const std::string& probe, const std::string& encode) const {
    write_script(path_, "if [ \"$3\" = error ]; then\n" + probe + "\nelse\n:\n" + encode + "\nfi");
  }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// A file that the script makes in its working directory.
  [[nodiscard]] std::filesystem::path file(const std::string& name) const {
    return path_.parent_path() / name;
  }

 private:
  TemporaryFolder folder_;
  std::filesystem::path path_;
};

}  // namespace veyrin::test
