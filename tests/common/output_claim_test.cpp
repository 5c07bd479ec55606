#include "common/output_claim.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using std::filesystem::path;

class Claim : public testing::Test {
 protected:
  path write(const std::string& name, const std::string& content) {
    const path file = folder_ / name;
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

  std::unique_ptr<OutputClaim> claim(bool overwrite = false, std::chrono::milliseconds patience = {}) {
    return OutputClaim::create(movie_, overwrite, error_, patience);
  }

  bool plan(OutputClaim& claim, const path& temporary) {
    return claim.plan_temporary(folder_ / "recording.mp4", BatchFiles(), temporary, error_);
  }

  /// What a killed process leaves beside a temporary file that it had planned.
  void leave_lock(const std::string& temporary) {
    write(temporary + ".veyrin-lock", "a veyrin-video-converter is writing the file of this name\n");
  }

  TemporaryFolder folder_;
  path movie_ = folder_ / "movie.mp4";
  path lock_ = folder_ / "movie.mp4.veyrin-lock";
  path temporary_ = folder_ / "movie.tmp";
  std::string error_;
};

TEST_F(Claim, HasALockFileForAsLongAsItLives) {
  auto first = claim();
  ASSERT_NE(first, nullptr) << error_;
  EXPECT_EQ(first->file(), movie_);
  EXPECT_EQ(first->opening(), platform::OutputFile::Opening::create);
  EXPECT_TRUE(std::filesystem::exists(lock_));
  EXPECT_FALSE(std::filesystem::exists(movie_)) << "nothing is created for the output itself";
  first.reset();
  EXPECT_FALSE(std::filesystem::exists(lock_));
}

TEST_F(Claim, IsHeldByOneAtATime) {
  auto first = claim();
  ASSERT_NE(first, nullptr) << error_;
  EXPECT_EQ(claim(), nullptr);
  EXPECT_EQ(error_, "output is being written by another process: " + movie_.string());
  first.reset();
  EXPECT_NE(claim(), nullptr);
}

TEST_F(Claim, WaitsForAnotherOneAsLongAsItIsTold) {
  auto first = claim();
  std::thread holder([&first] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    first.reset();
  });
  EXPECT_NE(claim(false, std::chrono::seconds(60)), nullptr) << error_;
  holder.join();
}

TEST_F(Claim, FindsWhatAnotherProcessHasMadeMeanwhile) {
  write("movie.mp4", "theirs");
  EXPECT_EQ(claim(), nullptr);
  EXPECT_EQ(error_, "output already exists (use --overwrite): " + movie_.string());
  EXPECT_FALSE(std::filesystem::exists(lock_));
  const auto overwriting = claim(/*overwrite=*/true);
  ASSERT_NE(overwriting, nullptr) << error_;
  EXPECT_EQ(overwriting->opening(), platform::OutputFile::Opening::replace);
}

TEST_F(Claim, OfManyThreadsLetsEachInOnce) {
  std::vector<std::thread> threads;
  int inside = 0;  // guarded by the claim alone
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this, &inside] {
      std::string error;
      const auto mine = OutputClaim::create(movie_, false, error, std::chrono::seconds(60));
      ASSERT_NE(mine, nullptr) << error;
      const int before = inside;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      inside = before + 1;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(inside, 8);
  EXPECT_FALSE(std::filesystem::exists(lock_));
}

TEST_F(Claim, LeavesAForeignFileOfTheLocksName) {
  write("movie.mp4.veyrin-lock", "my diary");
  EXPECT_EQ(claim(), nullptr);
  EXPECT_EQ(error_, "could not lock output: another program's file has the name " + lock_.string());
  EXPECT_EQ(file_text(lock_), "my diary");
}

TEST_F(Claim, GoesWithoutALockWhereNoneCanBeMade) {
  std::filesystem::create_directory(lock_);
  EXPECT_NE(claim(), nullptr) << error_;
  EXPECT_TRUE(std::filesystem::is_directory(lock_));
  EXPECT_NE(OutputClaim::create(folder_ / "missing" / "movie.mp4", false, error_), nullptr)
      << "opening the output says what is wrong";
}

TEST_F(Claim, PlansATemporaryFileWithoutCreatingIt) {
  const auto mine = claim();
  EXPECT_TRUE(plan(*mine, temporary_)) << error_;
  EXPECT_FALSE(std::filesystem::exists(temporary_));
}

TEST_F(Claim, KeepsWhatLiesAtTheTemporaryName) {
  for (const bool overwrite : {false, true}) {
    write("movie.tmp", "precious");
    const auto mine = claim(overwrite);
    EXPECT_FALSE(plan(*mine, temporary_));
    EXPECT_EQ(error_, "temporary file already exists (move it away or delete it): " + temporary_.string());
    EXPECT_EQ(file_text(temporary_), "precious");
  }
}

TEST_F(Claim, RemovesWhatAKilledProcessHasLeft) {
  leave_lock("movie.tmp");
  write("movie.tmp", "half a movie");
  write("movie.mp4.veyrin-lock", "");
  auto mine = claim();
  ASSERT_NE(mine, nullptr) << error_;
  EXPECT_TRUE(plan(*mine, temporary_)) << error_;
  EXPECT_FALSE(std::filesystem::exists(temporary_));
  mine.reset();
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path())) << "no lock remains either";
}

TEST_F(Claim, RemovesNothingElseAfterAKilledProcess) {
  leave_lock("other.tmp");
  write("movie.tmp", "precious");
  write("other.tmp", "not asked for");
  const auto mine = claim();
  EXPECT_FALSE(plan(*mine, temporary_));
  EXPECT_EQ(file_text(temporary_), "precious");
  EXPECT_EQ(file_text(folder_ / "other.tmp"), "not asked for");
}

// Killed before it had looked whether the name is free, a process has written nothing into the lock file.
TEST_F(Claim, TakesAnEmptyLockFileForNoEvidence) {
  write("movie.tmp.veyrin-lock", "");
  write("movie.tmp", "precious");
  const auto mine = claim();
  EXPECT_FALSE(plan(*mine, temporary_));
  EXPECT_EQ(file_text(temporary_), "precious");
}

TEST_F(Claim, SharesATemporaryFileWithNoOther) {
  const auto mine = claim();
  ASSERT_TRUE(plan(*mine, temporary_)) << error_;
  const auto other = OutputClaim::create(folder_ / "movie.mov", false, error_);
  ASSERT_NE(other, nullptr) << error_;
  EXPECT_FALSE(plan(*other, temporary_));
  EXPECT_EQ(error_, "output is being written by another process: " + temporary_.string());
}

TEST_F(Claim, NeverPlansARecordingAsTemporary) {
  const path recording = write("recording.mp4", "recording");
  const auto mine = claim(/*overwrite=*/true);
  EXPECT_FALSE(plan(*mine, recording));
  EXPECT_EQ(error_, "output would replace its own input: " + recording.string());
  EXPECT_EQ(file_text(recording), "recording");
}

}  // namespace
}  // namespace veyrin::test
