// Links as outputs: what they lead to is written, and one without a target counts as existing.
#include <gtest/gtest.h>

#include "common/output_claim.h"
#include "common/platform/files.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using std::filesystem::create_symlink;
using std::filesystem::path;

class OutputLinks : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(folder_ / "disk");
    create_symlink("disk/movie.mp4", folder_ / "link.mp4");
    create_symlink("link.mp4", folder_ / "link to link.mp4");
    create_symlink("loop.mp4", folder_ / "loop.mp4");
  }

  TemporaryFolder folder_;
  path target_ = folder_ / "disk" / "movie.mp4";
  std::string error_;
};

TEST_F(OutputLinks, LeadToTheirTargetWhetherItExistsOrNot) {
  EXPECT_EQ(platform::follow_links(folder_ / "link.mp4"), target_);
  EXPECT_EQ(platform::follow_links(folder_ / "link to link.mp4"), target_);
  EXPECT_EQ(platform::follow_links(folder_ / "plain.mp4"), folder_ / "plain.mp4");
  EXPECT_EQ(platform::follow_links(folder_ / "loop.mp4"), folder_ / "loop.mp4");
  std::ofstream(target_) << "movie";
  EXPECT_EQ(platform::follow_links(folder_ / "link.mp4"), target_);
}

TEST_F(OutputLinks, WithoutATargetCountAsExisting) {
  for (const char* name : {"link.mp4", "link to link.mp4", "loop.mp4"}) {
    const path link = folder_ / name;
    std::error_code reason;
    EXPECT_TRUE(platform::name_is_taken(link, reason)) << name;
    EXPECT_FALSE(prepare_output_path({}, link, /*overwrite=*/false, BatchFiles(), error_)) << name;
    EXPECT_EQ(error_, "output already exists (use --overwrite): " + link.string());
  }
  EXPECT_FALSE(check_spatial_output(folder_ / "link.mp4", /*overwrite=*/false, error_));
  EXPECT_EQ(error_, "AVP output already exists (use --overwrite): " + (folder_ / "link.mp4").string());
}

TEST_F(OutputLinks, AreResolvedOnceForTheWork) {
  std::ofstream(target_) << "movie";
  const auto claim = OutputClaim::create(folder_ / "link.mp4", /*overwrite=*/true, error_);
  ASSERT_NE(claim, nullptr) << error_;
  EXPECT_EQ(claim->file(), target_);
  EXPECT_EQ(claim->opening(), platform::OutputFile::Opening::replace);
  EXPECT_EQ(OutputClaim::create(target_, /*overwrite=*/true, error_), nullptr) << "one file, one claim";
}

TEST_F(OutputLinks, AreNeverFollowedAtTheNamesOfLockAndTemporary) {
  std::ofstream(folder_ / "precious") << "precious";
  create_symlink("precious", folder_ / "movie.mp4.veyrin-lock");
  create_symlink("precious", folder_ / "movie.tmp");
  const auto claim = OutputClaim::create(folder_ / "movie.mp4", /*overwrite=*/true, error_);
  ASSERT_NE(claim, nullptr) << error_;
  EXPECT_FALSE(claim->plan_temporary({}, BatchFiles(), folder_ / "movie.tmp", error_));
  EXPECT_EQ(file_text(folder_ / "precious"), "precious");
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "movie.tmp"));
}

TEST_F(OutputLinks, AreNotOpenedAsNewFiles) {
  std::error_code reason;
  EXPECT_EQ(platform::OutputFile::open(folder_ / "link.mp4", platform::OutputFile::Opening::create, reason),
            nullptr);
  EXPECT_EQ(reason, std::errc::file_exists);
  EXPECT_FALSE(std::filesystem::exists(target_));
}

}  // namespace
}  // namespace veyrin::test
