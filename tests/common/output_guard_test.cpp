#include "common/output_guard.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace veyrin::test {
namespace {

namespace fs = std::filesystem;

class OutputGuard : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = fs::temp_directory_path() / ("output_guard_" + std::to_string(getpid()));
    fs::create_directories(folder_);
    input_ = write("recording.mp4", "recording");
  }
  void TearDown() override { fs::remove_all(folder_); }

  fs::path write(const fs::path& name, const std::string& content) {
    const fs::path path = folder_ / name;
    std::ofstream(path) << content;
    return path;
  }

  std::string refusal(const fs::path& output, bool overwrite) {
    std::string error;
    return prepare_output_path(input_, output, overwrite, BatchFiles(), error) ? "" : error;
  }

  fs::path folder_;
  fs::path input_;
};

TEST_F(OutputGuard, CreatesMissingFolders) {
  EXPECT_EQ(refusal(folder_ / "a" / "b" / "movie.mp4", false), "");
  EXPECT_TRUE(fs::is_directory(folder_ / "a" / "b"));
  EXPECT_FALSE(fs::exists(folder_ / "a" / "b" / "movie.mp4"));
}

TEST_F(OutputGuard, RefusesWhatExistsUnlessOverwriting) {
  const fs::path movie = write("movie.mp4", "movie");
  EXPECT_EQ(refusal(movie, false), "output already exists (use --overwrite): " + movie.string());
  EXPECT_EQ(refusal(movie, true), "");
  EXPECT_EQ(refusal(folder_, false), "output already exists (use --overwrite): " + folder_.string())
      << "a folder of that name exists too";
}

TEST_F(OutputGuard, NamesTheFolderThatCannotBeMade) {
  const std::string error = refusal(input_ / "below" / "movie.mp4", false);
  EXPECT_EQ(error, "could not create output directory: Not a directory");
}

TEST_F(OutputGuard, NeverLetsARecordingBeReplaced) {
  fs::create_symlink(input_, folder_ / "link.mp4");
  fs::create_hard_link(input_, folder_ / "twin.mp4");
  for (const bool overwrite : {false, true}) {
    for (const fs::path& output :
         {input_, folder_ / "link.mp4", folder_ / "twin.mp4", folder_ / "." / "recording.mp4"}) {
      EXPECT_EQ(refusal(output, overwrite), "output would replace its own input: " + output.string());
    }
  }
}

}  // namespace
}  // namespace veyrin::test
