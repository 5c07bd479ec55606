// The stereo pass interrupted: whatever it is doing, the user has a finished movie.
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>

#include "common/output_claim.h"
#include "convert/sbs_stereo_metadata.h"
#include "tests/convert/packaged_movies.h"
#include "tests/support/system_call_stops.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using test::file_text;
using test::run_until_system_call;

class InterruptedSt3dRemux : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const test::TemporaryFolder folder;
    const auto movie = folder / "clip.mp4";
    test::make_trimmed_movie(movie);
    old_movie = file_text(movie);
    std::string error;
    ASSERT_TRUE(add_st3d_to_movie(movie, error)) << error;
    new_movie = file_text(movie);
    ASSERT_NE(old_movie, new_movie);
  }

  InterruptedSt3dRemux() : movie_(folder_ / "clip.mp4"), temporary_(folder_ / "clip.st3d.tmp.mp4") {}

  void restore_old_movie() {
    std::filesystem::remove(temporary_);
    std::filesystem::remove(folder_ / "clip.mp4.veyrin-lock");
    std::filesystem::remove(folder_ / "clip.st3d.tmp.mp4.veyrin-lock");
    std::ofstream(movie_, std::ios::binary) << old_movie;
  }

  /// As the program runs it: with the right to write the movie, and a look at the temporary file before.
  [[nodiscard]] int run_pass() const {
    std::string error;
    const auto claim = OutputClaim::create(movie_, /*overwrite=*/true, error);
    return claim && claim->plan_temporary({}, BatchFiles(), temporary_, error) &&
                   add_st3d_to_movie(movie_, error)
               ? 0
               : 1;
  }

  static std::string old_movie;
  static std::string new_movie;
  test::TemporaryFolder folder_;
  std::filesystem::path movie_;
  std::filesystem::path temporary_;
};

std::string InterruptedSt3dRemux::old_movie;
std::string InterruptedSt3dRemux::new_movie;

TEST_F(InterruptedSt3dRemux, KilledAtAnySystemCallLeavesTheOldOrTheNewMovieWhole) {
  std::size_t kept_old = 0;
  std::size_t kept_old_with_temporary = 0;
  std::size_t got_new = 0;
  for (std::size_t call = 0;; ++call) {
    restore_old_movie();
    const auto run = run_until_system_call([this] { return run_pass(); }, call);
    if (!run) GTEST_SKIP() << "processes cannot be traced here";
    if (!run->killed) {
      // The pass has no further system call to be killed at.
      EXPECT_EQ(run->exit_code, 0);
      break;
    }
    const std::string left = file_text(movie_);
    ASSERT_TRUE(left == old_movie || left == new_movie)
        << "killed at system call " << call << ", number " << run->system_calls.back() << ": " << left.size()
        << " bytes left";
    if (left == new_movie) {
      ++got_new;
      EXPECT_FALSE(std::filesystem::exists(temporary_));
    } else {
      EXPECT_EQ(got_new, 0U) << "an earlier kill left the new movie already";
      ++kept_old;
      if (std::filesystem::exists(temporary_)) ++kept_old_with_temporary;
    }
    // The next run is not disturbed by what this one left. It has a process of its own, too: what this one
    // had allocated meanwhile would shift the numbers of the calls.
    const auto again = run_until_system_call([this] { return run_pass(); }, std::nullopt);
    ASSERT_TRUE(again && again->exit_code == 0) << "killed at system call " << call;
    EXPECT_EQ(file_text(movie_), new_movie);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path()), {}), 1);
  }
  // Without kills before, while and after the temporary file is written, nothing was shown.
  EXPECT_GT(kept_old, kept_old_with_temporary);
  EXPECT_GT(kept_old_with_temporary, 10U);
  EXPECT_GT(got_new, 0U);
  RecordProperty("kills_before_the_temporary_file", static_cast<int>(kept_old - kept_old_with_temporary));
  RecordProperty("kills_with_the_temporary_file", static_cast<int>(kept_old_with_temporary));
  RecordProperty("kills_after_the_move", static_cast<int>(got_new));
}

// The number of the system call that the C library renames with; nothing when processes cannot be traced. The
// sanitizers' run-time makes calls of its own, so the place in the list tells nothing.
std::optional<std::uint64_t> rename_system_call() {
  constexpr std::array<std::uint64_t, 3> renaming = {SYS_rename, SYS_renameat, SYS_renameat2};
  const auto run = run_until_system_call([] { return rename("/", "/") == 0 ? 0 : 1; }, std::nullopt);
  if (!run) return std::nullopt;
  const auto call = std::find_first_of(run->system_calls.begin(), run->system_calls.end(), renaming.begin(),
                                       renaming.end());
  if (call == run->system_calls.end()) return std::nullopt;
  return *call;
}

TEST_F(InterruptedSt3dRemux, TheNewMovieIsOnDiskBeforeItTakesTheOldOnesName) {
  restore_old_movie();
  const auto run = run_until_system_call([this] { return run_pass(); }, std::nullopt);
  if (!run) GTEST_SKIP() << "processes cannot be traced here";
  const auto& calls = run->system_calls;
  const auto rename = std::find(calls.begin(), calls.end(), rename_system_call());
  ASSERT_NE(rename, calls.end());
  const auto last_write = std::find(std::make_reverse_iterator(rename), calls.rend(), SYS_write).base();
  ASSERT_NE(last_write, calls.begin());
  EXPECT_NE(std::find(last_write, rename, SYS_fsync), rename) << "the content is not synced before the move";
  EXPECT_NE(std::find(rename, calls.end(), SYS_fsync), calls.end()) << "the folder is not synced after it";
}

// Makes one system call of this process fail from now on, as a folder without write permission does.
bool forbid(std::uint64_t system_call) {
  const auto number = static_cast<std::uint32_t>(system_call);
  std::array<sock_filter, 4> program{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog filter{program.size(), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST_F(InterruptedSt3dRemux, WithoutTheRightToReplaceItKeepsTheMovieAndRemovesTheTemporaryFile) {
  restore_old_movie();
  const auto message = folder_ / "message";
  const auto rename_call = rename_system_call();
  if (!rename_call) GTEST_SKIP() << "processes cannot be traced here";
  const pid_t process = fork();
  if (process == 0) {
    if (!forbid(*rename_call)) _exit(2);
    std::string error;
    const bool replaced = add_st3d_to_movie(movie_, error);
    std::ofstream(message) << error;
    _exit(replaced ? 1 : 0);
  }
  int status = 0;
  waitpid(process, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "system calls cannot be filtered here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(file_text(message), "could not replace the software output after adding SBS metadata");
  EXPECT_EQ(file_text(movie_), old_movie);
  EXPECT_FALSE(std::filesystem::exists(temporary_));
}

}  // namespace
}  // namespace veyrin::test
