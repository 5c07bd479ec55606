#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <vector>

#include "common/platform/program.h"
#include "tests/common/child_process_fixture.h"
#include "tests/support/script.h"

namespace veyrin::test {
namespace {

/// Runs `work` in a process of its own without the given streams; true when it says so there.
template <typename Work>
bool holds_without(const std::vector<int>& closed, const Work& work) {
  const pid_t process = fork();
  if (process == 0) {
    for (const int stream : closed) close(stream);
    platform::secure_standard_streams();
    _exit(work() ? 0 : 1);
  }
  int status = -1;
  waitpid(process, &status, 0);
  return status == 0;
}

bool write_fails_with(int descriptor, int code) {
  return write(descriptor, "x", 1) < 0 && errno == code;
}

TEST(StandardStreams, NoFileGetsTheirNumbers) {
  for (unsigned int closed = 0; closed < 8; ++closed) {
    std::vector<int> streams;
    for (int stream = 0; stream < 3; ++stream) {
      if ((closed >> stream & 1U) != 0) streams.push_back(stream);
    }
    EXPECT_TRUE(holds_without(streams, [] { return open("/dev/null", O_WRONLY) > STDERR_FILENO; })) << closed;
  }
}

TEST(StandardStreams, MissingOnesTakeNothingAndGiveNothing) {
  EXPECT_TRUE(holds_without({0, 1, 2}, [] {
    char byte = 0;
    return read(STDIN_FILENO, &byte, 1) == 0 && write_fails_with(STDOUT_FILENO, EBADF) &&
           write_fails_with(STDERR_FILENO, EBADF);
  }));
}

TEST(StandardStreams, OpenOnesStayWhatTheyAre) {
  const TemporaryFolder folder;
  EXPECT_TRUE(holds_without({0, 2}, [&folder] {
    dup2(open((folder / "report").c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    platform::secure_standard_streams();
    return write(STDOUT_FILENO, "line", 4) == 4;
  }));
  EXPECT_EQ(file_text(folder / "report"), "line");
}

TEST(StandardStreams, WritesThatCannotBeDoneAreErrorsAndNoSignals) {
  EXPECT_TRUE(holds_without({}, [] {
    int ends[2];
    if (pipe(ends) != 0) return false;
    close(ends[0]);
    return write_fails_with(ends[1], EPIPE);
  }));
  const TemporaryFolder folder;
  EXPECT_TRUE(holds_without({}, [&folder] {
    const rlimit none{0, 0};
    const int file = open((folder / "file").c_str(), O_WRONLY | O_CREAT, 0600);
    return setrlimit(RLIMIT_FSIZE, &none) == 0 && write_fails_with(file, EFBIG);
  }));
}

TEST(StandardStreams, TheirFileIsKnownUnderEveryName) {
  const TemporaryFolder folder;
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
    EXPECT_TRUE(holds_without({}, [&folder, stream] {
      dup2(open((folder / "report").c_str(), O_WRONLY | O_CREAT, 0600), stream);
      dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO + STDERR_FILENO - stream);
      std::filesystem::create_hard_link(folder / "report", folder / "hard");
      std::filesystem::create_symlink("report", folder / "symbolic");
      std::ofstream(folder / "other") << "text";
      const bool known = platform::is_printed_into(folder / "report") &&
                         platform::is_printed_into(folder / "hard") &&
                         platform::is_printed_into(folder / "symbolic");
      const bool mistaken = platform::is_printed_into(folder / "other") ||
                            platform::is_printed_into(folder / "missing") ||
                            platform::is_printed_into(folder / "") || platform::is_printed_into("/dev/null");
      std::filesystem::remove(folder / "hard");
      std::filesystem::remove(folder / "symbolic");
      return known && !mistaken;
    })) << stream;
  }
}

class StandardStreamsOfChildren : public ChildProcessTest {};

TEST_F(StandardStreamsOfChildren, ABrokenPipeEndsThemAsUsual) {
  write_script(home_ / "script", "kill -PIPE $$; exit 3");
  EXPECT_TRUE(holds_without({}, [this] {
    platform::ChildProcessRequest request = request_for({});
    request.executable = home_ / "script";
    const auto child = start_request(request);
    return child && child->wait() == 128 + SIGPIPE;
  }));
}

TEST_F(StandardStreamsOfChildren, TheyStartWithoutAnyOfOurs) {
  EXPECT_TRUE(holds_without({0, 1, 2}, [this] {
    const auto child = start({"copy", "copy"}, platform::ChildInput::pipe);
    if (!child || !child->write("text", 4)) return false;
    child->close_input();
    return child->wait() == 0;
  }));
  EXPECT_EQ(written("copy"), "text");
}

}  // namespace
}  // namespace veyrin::test
