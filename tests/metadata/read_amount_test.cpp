// A recording's metadata is read in a moment, however long the recording is.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>

#include "metadata/recording_metadata.h"
#include "tests/metadata/sample_document.h"
#include "tests/metadata/small_movie.h"
#include "tests/recordings/gpmf_sample.h"
#include "tests/recordings/movie_writer.h"
#include "tests/support/bytes_read.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

struct Layout {
  const char* name;
  int samples;          ///< per track; those of the two video tracks have a megabyte each
  int document_sample;  ///< which of the metadata samples is the first document
  bool index_first;
  std::uint64_t hole_bytes;
};

void PrintTo(const Layout& layout, std::ostream* out) {
  *out << layout.name;
}

class ReadAmount : public testing::TestWithParam<Layout> {};

TEST_P(ReadAmount, StaysSmallWhateverTheLengthOfTheRecording) {
  const Layout& layout = GetParam();
  const recordings::MediaTrack video = megabyte_video_track(layout.samples);
  std::vector<Bytes> metadata(static_cast<std::size_t>(layout.samples),
                              recordings::gpmf_sample("{}", {.schema = "other/v1"}));
  metadata[static_cast<std::size_t>(layout.document_sample)] =
      recordings::gpmf_sample(complete_document().dump());
  const TemporaryFolder folder;
  const std::filesystem::path path = folder / "recording.mp4";
  std::string error;
  ASSERT_TRUE(recordings::write_movie(path, {video, video, data_track(metadata, "Kaleth Timed Metadata")},
                                      {.index_first = layout.index_first, .hole_bytes = layout.hole_bytes},
                                      error))
      << error;

  const std::optional<std::uint64_t> before = bytes_read();
  RecordingMetadata recording;
  const bool read = read_recording_metadata(path, recording, error);
  const std::optional<std::uint64_t> after = bytes_read();
  ASSERT_TRUE(read) << error;
  if (!before || !after) GTEST_SKIP() << "this system does not count the bytes that a process reads";
  std::printf("%s: %ju of %ju bytes read\n", layout.name, std::uintmax_t{*after - *before},
              std::filesystem::file_size(path));
  // FFmpeg looks at up to 5 MB of packets to know the streams; a buffer of 32 KiB for each metadata sample
  // and the sample tables come on top.
  EXPECT_LT(*after - *before, 7'500'000U);
}

constexpr std::uint64_t hundred_gigabytes = 100'000'000'000;

INSTANTIATE_TEST_SUITE_P(Layouts, ReadAmount,
                         testing::Values(Layout{"short", 4, 0, true, 0},
                                         Layout{"long", 4, 0, true, hundred_gigabytes},
                                         Layout{"long_index_last", 4, 0, false, hundred_gigabytes},
                                         Layout{"late_document", 40, 38, true, hundred_gigabytes}),
                         [](const auto& layout) { return std::string(layout.param.name); });

}  // namespace
}  // namespace veyrin::test
