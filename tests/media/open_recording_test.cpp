#include <gtest/gtest.h>

#include <fstream>

#include "media/recording_input.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

TEST(OpenRecording, SaysWhyOrLeavesItOutAsAsked) {
  std::string error;
  EXPECT_EQ(open_recording("missing.mp4", {}, {.open = "no way in", .read_streams = ""}, error), nullptr);
  EXPECT_EQ(error, "no way in: No such file or directory");
  EXPECT_EQ(
      open_recording("missing.mp4", {},
                     {.open = "no way in: missing.mp4", .read_streams = "", .with_reason = false}, error),
      nullptr);
  EXPECT_EQ(error, "no way in: missing.mp4");
}

TEST(OpenRecording, RefusesWhatIsNoMovie) {
  av_log_set_level(AV_LOG_QUIET);
  const TemporaryFolder folder;
  std::ofstream(folder / "clip.mp4.partial") << "not a movie";
  std::string error;
  for (const bool growing : {false, true}) {
    EXPECT_EQ(open_recording(folder / "clip.mp4.partial", {.growing_recordings = growing},
                             {.open = "open", .read_streams = "read"}, error),
              nullptr);
    EXPECT_EQ(error, "open: Invalid data found when processing input");
  }
}

}  // namespace
}  // namespace veyrin::test
