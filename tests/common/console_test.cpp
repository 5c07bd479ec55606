#include "common/console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

struct Written {
  std::string output;
  std::string errors;
};

template <typename Action>
Written written_by(Action action) {
  capture_output();
  capture_errors();
  action();
  std::string output = captured_output();
  return {output, captured_errors()};
}

TEST(Console, FormatsLikePrintf) {
  const Written written = written_by([] {
    console_log("a %d %s|", 7, "b");
    console_line("  duration_seconds: %.6f", 1.5);
    console_log("%s", "100%n\n");
    console_line("%s", "");
  });
  EXPECT_EQ(written.output, "a 7 b|  duration_seconds: 1.500000\n100%n\n\n");
  EXPECT_EQ(written.errors, "");
}

/// The separate writes that reach standard output; a socket of this kind keeps their boundaries.
template <typename Action>
std::vector<std::string> separate_writes(Action action) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) return {};
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  dup2(ends[0], STDOUT_FILENO);
  action();
  dup2(saved, STDOUT_FILENO);
  close(saved);
  close(ends[0]);
  std::vector<std::string> writes;
  char buffer[256];
  ssize_t size = 0;
  while ((size = read(ends[1], buffer, sizeof buffer)) > 0) writes.emplace_back(buffer, size);
  close(ends[1]);
  return writes;
}

TEST(Console, WritesALineAsItsTextAndThenALineFeedAndHoldsNothingBack) {
  const std::vector<std::string> writes = separate_writes([] {
    console_log("first");
    console_line("%d", 2);
  });
  EXPECT_EQ(writes, (std::vector<std::string>{"first", "2", "\n"}));
}

TEST(Console, MirrorsToStandardErrorOnlyWhileAsked) {
  const Written written = written_by([] {
    console_line("before");
    set_console_mirror(true);
    console_line("both %d", 1);
    set_console_mirror(false);
    console_line("after");
  });
  EXPECT_EQ(written.output, "before\nboth 1\nafter\n");
  EXPECT_EQ(written.errors, "both 1\n");
}

TEST(ConsoleSilence, HoldsEverythingBackWhileOneLives) {
  const Written written = written_by([] {
    set_console_mirror(true);
    {
      const ConsoleSilence outer;
      console_line("lost");
      {
        const ConsoleSilence inner;
        console_log("lost");
      }
      console_line("lost too");
    }
    set_console_mirror(false);
    console_line("heard");
  });
  EXPECT_EQ(written.output, "heard\n");
  EXPECT_EQ(written.errors, "");
}

/// What `console_failure` says in a process of its own after `action`, whose standard output is the named
/// file.
template <typename Action>
std::string failure_after(const char* output, Action action) {
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  std::fflush(stdout);
  const pid_t process = fork();
  if (process == 0) {
    dup2(open(output, O_WRONLY), STDOUT_FILENO);
    action();
    const std::string failure = console_failure();
    _exit(write(ends[1], failure.data(), failure.size()) < 0 ? 1 : 0);
  }
  close(ends[1]);
  char buffer[256];
  const ssize_t size = read(ends[0], buffer, sizeof buffer);
  close(ends[0]);
  int status = -1;
  waitpid(process, &status, 0);
  return status == 0 && size >= 0 ? std::string(buffer, size) : "no answer";
}

TEST(ConsoleFailure, IsEmptyWhileEverythingIsWritten) {
  EXPECT_EQ(failure_after("/dev/null", [] { console_line("text"); }), "");
}

TEST(ConsoleFailure, NamesTheFirstReasonForEver) {
  EXPECT_EQ(failure_after("/dev/full",
                          [] {
                            console_line("lost");
                            dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
                            console_line("written");
                          }),
            "No space left on device");
  EXPECT_EQ(failure_after("/dev/null",
                          [] {
                            close(STDOUT_FILENO);
                            console_log("lost");
                            dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
                            console_log("lost too");
                          }),
            "Bad file descriptor");
}

TEST(ConsoleFailure, WhatIsHeldBackIsNotLost) {
  EXPECT_EQ(failure_after("/dev/full",
                          [] {
                            const ConsoleSilence silence;
                            console_line("not for anyone");
                          }),
            "");
}

}  // namespace
}  // namespace veyrin::test
