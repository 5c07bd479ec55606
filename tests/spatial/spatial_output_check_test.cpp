#include "spatial/spatial_output_check.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace veyrin {
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
  std::filesystem::create_symlink(folder / "movie.mov", folder / "link.mov");
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

TEST(SpatialOutputCheck, ReportsAPathThatTheSystemCannotLookAt) {
  const test::TemporaryFolder folder;
  std::filesystem::create_symlink("loop.mov", folder / "loop.mov");
  for (const bool overwrite : {false, true}) {
    std::string error;
    EXPECT_FALSE(check_spatial_output(folder / std::string(300, 'n'), overwrite, error));
    EXPECT_EQ(error, "could not inspect AVP output path: " +
                         std::make_error_code(std::errc::filename_too_long).message());
    EXPECT_FALSE(check_spatial_output(folder / "loop.mov", overwrite, error));
    EXPECT_EQ(error, "could not inspect AVP output path: " +
                         std::make_error_code(std::errc::too_many_symbolic_link_levels).message());
  }
}

}  // namespace
}  // namespace veyrin
