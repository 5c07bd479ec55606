#include <gtest/gtest.h>

#include "common/output_guard.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

TEST(SpatialOutputCheck, AcceptsAMissingPath) {
  const test::TemporaryFolder folder;
  std::ofstream(folder / "file") << "x";
  for (const std::filesystem::path& path :
       {folder / "new.mov", folder / "missing/new.mov", folder / "file/new.mov"}) {
    std::string error;
    EXPECT_TRUE(check_spatial_output(path, /*overwrite=*/false, error)) << path << error;
    EXPECT_EQ(error, "");
  }
}

TEST(SpatialOutputCheck, RefusesAnyExistingObjectUnlessOverwriting) {
  const test::TemporaryFolder folder;
  std::ofstream(folder / "movie.mov") << "x";
  std::filesystem::create_directory(folder / "folder.mov");
  std::filesystem::create_hard_link(folder / "movie.mov", folder / "link.mov");
  for (const char* name : {"movie.mov", "folder.mov", "link.mov"}) {
    const std::filesystem::path path = folder / name;
    std::string error;
    EXPECT_FALSE(check_spatial_output(path, /*overwrite=*/false, error)) << name;
    EXPECT_EQ(error, "AVP output already exists (use --overwrite): " + path.string());
    error.clear();
    EXPECT_TRUE(check_spatial_output(path, /*overwrite=*/true, error)) << name << error;
    EXPECT_EQ(error, "");
  }
  EXPECT_EQ(test::file_text(folder / "movie.mov"), "x");
}

}  // namespace
}  // namespace veyrin::test
