// The stereo marks of movies that this process writes itself, read from their boxes.
#include <gtest/gtest.h>

#include <cstring>

#include "convert/encoded_movie.h"
#include "tests/support/command.h"
#include "tests/support/mp4_boxes.h"
#include "tests/support/temporary_folder.h"

namespace veyrin::test {
namespace {

using namespace std::string_literals;
using test::file_text;
using test::Mp4Box;
using test::output_of;
using test::quoted;

struct Marks {
  bool st3d = false;
  bool frame_packing_sei = false;
};

/// The encoder comes with every FFmpeg build of ours; what is written about stereo does not depend on it.
struct Format {
  const char* file_name;
  const char* encoder;
  AVPixelFormat pixels;
  const char* sample_entry;  ///< path in the track's boxes
};

constexpr Format mp4{"clip.mp4", "png", AV_PIX_FMT_RGB24, "mdia/minf/stbl/stsd/mp4v"};
constexpr Format mov{"clip.mov", "prores_ks", AV_PIX_FMT_YUV422P10LE, "mdia/minf/stbl/stsd/apch"};

void write_movie(const std::filesystem::path& file, const Format& format, const Marks& marks) {
  EncodedMovieRequest request;
  request.output = {file};
  request.container = av_guess_format(nullptr, format.file_name, nullptr);
  request.encoder.reset(avcodec_alloc_context3(avcodec_find_encoder_by_name(format.encoder)));
  request.encoder->width = 128;
  request.encoder->height = 64;
  request.encoder->pix_fmt = format.pixels;
  request.encoder->time_base = {1, 25};
  request.encoder->framerate = {25, 1};
  ASSERT_GE(avcodec_open2(request.encoder.get(), nullptr, nullptr), 0);
  request.st3d = marks.st3d;
  request.frame_packing_sei = marks.frame_packing_sei;
  std::string error;
  const auto movie = create_encoded_movie(std::move(request), error);
  ASSERT_NE(movie, nullptr) << error;
  for (int i = 0; i < 3; ++i) {
    Canvases canvases = movie->next_canvases(error);
    AVFrame* canvas = canvases.front().get();
    for (int plane = 0; plane < AV_NUM_DATA_POINTERS && canvas->data[plane] != nullptr; ++plane) {
      const int rows = plane == 0 ? canvas->height : canvas->height / 2;
      std::memset(canvas->data[plane], i, static_cast<std::size_t>(canvas->linesize[plane]) * rows);
    }
    ASSERT_TRUE(movie->write_canvases(std::move(canvases), {.first = i}, error)) << error;
  }
  ASSERT_TRUE(movie->finish(error)) << error;
}

/// A movie in memory with its boxes.
struct WrittenMovie {
  explicit WrittenMovie(const Format& written_format, const Marks& marks) : format(written_format) {
    const auto file = folder / format.file_name;
    write_movie(file, format, marks);
    bytes = file_text(file);
    boxes = test::read_boxes(bytes);
  }

  [[nodiscard]] const Mp4Box& sample_entry() const {
    return test::track_of_kind(boxes, "vide").only(format.sample_entry);
  }
  [[nodiscard]] std::vector<std::string_view> samples() const {
    return test::track_samples(bytes, test::track_of_kind(boxes, "vide"));
  }
  [[nodiscard]] std::string probed_stereo() const {
    return output_of(
        "ffprobe -v error -show_entries stream_side_data=side_data_type,type,inverted -of default=nw=1 " +
        quoted(folder / format.file_name));
  }

  test::TemporaryFolder folder;
  Format format;
  std::string bytes;
  Mp4Box boxes;
};

TEST(EncodedMovieStereo, Mp4HasTheBoxForSideBySideWithTheLeftEyeFirst) {
  const WrittenMovie movie(mp4, {.st3d = true});
  // Version and flags 0, stereo mode 2.
  EXPECT_EQ(movie.sample_entry().only("st3d").payload, "\0\0\0\0\2"s);
  EXPECT_EQ(movie.probed_stereo(), "side_data_type=Stereo 3D\ntype=side by side\ninverted=0\n");
}

TEST(EncodedMovieStereo, Mp4WithoutTheWishHasNoMark) {
  const WrittenMovie movie(mp4, {});
  EXPECT_TRUE(movie.sample_entry().all("st3d").empty()) << box_tree(movie.boxes);
  EXPECT_TRUE(movie.sample_entry().all("vexu").empty()) << box_tree(movie.boxes);
  EXPECT_EQ(movie.probed_stereo(), "");
}

// QuickTime has its own box for the same facts: which eyes are in the stream, and which one is primary.
TEST(EncodedMovieStereo, QuickTimeTellsOfBothEyesWithTheLeftOnePrimary) {
  const WrittenMovie movie(mov, {.st3d = true});
  EXPECT_TRUE(movie.sample_entry().all("st3d").empty()) << box_tree(movie.boxes);
  EXPECT_EQ(movie.sample_entry().only("vexu/eyes/stri").payload, "\0\0\0\0\3"s);
  EXPECT_EQ(movie.sample_entry().only("vexu/eyes/hero").payload, "\0\0\0\0\1"s);
}

TEST(EncodedMovieStereo, TheMessageIsNotAddedToOtherCodecs) {
  for (const Format& format : {mp4, mov}) {
    const WrittenMovie plain(format, {});
    const WrittenMovie asked(format, {.frame_packing_sei = true});
    EXPECT_EQ(plain.samples().size(), 3U);
    EXPECT_EQ(plain.samples(), asked.samples()) << format.encoder;
    EXPECT_TRUE(asked.sample_entry().all("st3d").empty()) << "only the message was asked for";
  }
}

}  // namespace
}  // namespace veyrin::test
