#include <gtest/gtest.h>

#include "common/output_guard.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

TEST(SpatialOutputCheck, RefusesASymbolicLinkUnlessOverwriting) {
  const test::TemporaryFolder folder;
  std::ofstream(folder / "movie.mov") << "x";
  std::filesystem::create_symlink(folder / "movie.mov", folder / "link.mov");
  const std::filesystem::path path = folder / "link.mov";
  std::string error;
  EXPECT_FALSE(check_spatial_output(path, /*overwrite=*/false, error));
  EXPECT_EQ(error, "AVP output already exists (use --overwrite): " + path.string());
  error.clear();
  EXPECT_TRUE(check_spatial_output(path, /*overwrite=*/true, error)) << error;
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
}  // namespace veyrin::test
