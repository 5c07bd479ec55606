#include "join/packet_sources.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "join/movie_piece.h"
#include "media/movie_file.h"
#include "tests/support/temporary_folder.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin::test {
namespace {

constexpr MovieMessages messages{{"create"},    "add",    {"configure"}, "add",
                                 {"configure"}, {"open"}, {"header"},    {"end"}};

/// Frame numbers at which pictures are shown, in the order in which they are decoded.
using Order = std::vector<std::int64_t>;

/// A movie of pictures that nobody can decode; the first one is decoded `delay` frames before it is shown.
void write_movie(const std::filesystem::path& path, const Order& shown, std::int64_t delay) {
  std::string error;
  const CodecParametersPtr video(avcodec_parameters_alloc());
  video->codec_type = AVMEDIA_TYPE_VIDEO;
  video->codec_id = AV_CODEC_ID_PRORES;
  video->codec_tag = MKTAG('a', 'p', 'c', 'n');
  video->width = video->height = 16;
  const auto movie = MovieFile::create({path}, av_guess_format("mov", nullptr, nullptr), messages, error);
  ASSERT_TRUE(movie) << error;
  ASSERT_TRUE(movie->add_video_track(*video, {1001, 30000}, {30000, 1001}, error)) << error;
  Dictionary options;
  ASSERT_TRUE(movie->write_header(options, error)) << error;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const PacketPtr packet(av_packet_alloc());
    ASSERT_EQ(av_new_packet(packet.get(), 8), 0);
    std::memset(packet->data, static_cast<int>(i), 8);
    packet->pts = shown[i];
    packet->dts = static_cast<std::int64_t>(i) - delay;
    packet->flags = AV_PKT_FLAG_KEY;
    ASSERT_TRUE(movie->write(0, *packet, {"write"}, error)) << error;
  }
  ASSERT_TRUE(movie->finish(error)) << error;
}

struct Times {
  std::int64_t pts = 0;
  std::int64_t dts = 0;
  bool operator==(const Times&) const = default;
};

/// Joins the movies; the times of their pictures in frames.
std::vector<Times> join(const std::vector<std::filesystem::path>& paths, std::string& error) {
  std::vector<MoviePiece> pieces;
  for (const auto& path : paths) {
    auto piece = open_piece(path, error);
    if (!piece || (!pieces.empty() && !check_same_kind(*open_piece(paths[0], error), *piece, error)))
      return {};
    piece->close();
    pieces.push_back(std::move(*piece));
  }
  PictureSource source(pieces);
  std::vector<Times> times;
  const PacketPtr packet(av_packet_alloc());
  Taken taken = source.take(*packet, error);
  for (; taken == Taken::packet; taken = source.take(*packet, error)) {
    EXPECT_EQ(packet->duration, 1001);
    EXPECT_EQ(packet->pts % 1001, 0);
    EXPECT_EQ(packet->dts % 1001, 0);
    times.push_back({packet->pts / 1001, packet->dts / 1001});
    av_packet_unref(packet.get());
  }
  EXPECT_EQ(taken == Taken::end, error.empty()) << error;
  return times;
}

/// FFmpeg would complain of each picture.
class PictureSourceTest : public testing::Test {
 protected:
  PictureSourceTest() { av_log_set_level(AV_LOG_QUIET); }
  ~PictureSourceTest() override { av_log_set_level(AV_LOG_INFO); }
};

TEST_F(PictureSourceTest, PlacesPiecesBehindEachOther) {
  const TemporaryFolder folder;
  write_movie(folder / "a.mov", {0, 1, 2}, 0);
  write_movie(folder / "b.mov", {0, 1}, 0);
  std::string error;
  EXPECT_EQ(join({folder / "a.mov", folder / "b.mov", folder / "a.mov"}, error),
            (std::vector<Times>{{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}}));
  EXPECT_EQ(error, "");
}

TEST_F(PictureSourceTest, ReorderedPicturesKeepTheirDelay) {
  const TemporaryFolder folder;
  write_movie(folder / "a.mov", {0, 3, 1, 2}, 1);
  std::string error;
  EXPECT_EQ(join({folder / "a.mov", folder / "a.mov"}, error),
            (std::vector<Times>{{0, -1}, {3, 0}, {1, 1}, {2, 2}, {4, 3}, {7, 4}, {5, 5}, {6, 6}}));
  EXPECT_EQ(error, "");
}

TEST_F(PictureSourceTest, TheLongestDelayHoldsForAllPieces) {
  const TemporaryFolder folder;
  write_movie(folder / "a.mov", {0, 1, 2}, 0);
  write_movie(folder / "b.mov", {0, 4, 2, 1, 3}, 2);
  write_movie(folder / "c.mov", {0, 2, 1}, 1);
  std::string error;
  const auto times = join({folder / "a.mov", folder / "b.mov", folder / "c.mov"}, error);
  EXPECT_EQ(error, "");
  ASSERT_EQ(times.size(), 11U);
  for (std::size_t i = 0; i < times.size(); ++i) {
    EXPECT_EQ(times[i].dts, static_cast<std::int64_t>(i) - 2) << "without holes";
    EXPECT_GE(times[i].pts, times[i].dts);
  }
  EXPECT_EQ(times[3].pts, 3);
  EXPECT_EQ(times[4].pts, 7);
  EXPECT_EQ(times[9].pts, 10);
}

TEST_F(PictureSourceTest, RefusesPicturesThatAreNotOneFrameEach) {
  const TemporaryFolder folder;
  // Decoded one a frame, shown every other frame.
  write_movie(folder / "late.mov", {0, 2, 4}, 0);
  std::string error;
  EXPECT_TRUE(join({folder / "late.mov"}, error).size() < 3);
  EXPECT_NE(error.find("do not follow each other evenly"), std::string::npos) << error;
}

}  // namespace
}  // namespace veyrin::test
