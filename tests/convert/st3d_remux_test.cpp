// What the stereo pass keeps and what it adds, read from the boxes of both files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <set>

#include "convert/sbs_stereo_metadata.h"
#include "tests/convert/packaged_movies.h"
#include "tests/support/command.h"
#include "tests/support/linux/file_size_limit.h"
#include "tests/support/mp4_boxes.h"
#include "tests/support/temporary_folder.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin::test {
namespace {

using namespace std::string_literals;
using test::file_text;
using test::Mp4Box;
using test::output_of;
using test::quoted;

// What a box says itself, without two notes that each version of the muxer writes after its own mind: the
// channel count in front of the sound's own description, and the greatest bit rate within it.
std::string statement(const Mp4Box& box) {
  constexpr std::size_t greatest_bit_rate_position = 22;
  std::string fields(box.fields);
  if (box.type == "mp4a") fields.clear();
  if (box.type == "esds") fields.erase(greatest_bit_rate_position, 4);
  return testing::PrintToString(fields);
}

// The tracks' boxes as "path = statement", but for those that say where the samples lie in the file, those of
// the stereo description and the bit rates.
void list_boxes(const Mp4Box& box, const std::string& path, std::multiset<std::string>& lines) {
  static const std::set<std::string> left_out{"stco", "co64", "stsc", "st3d", "vexu", "btrt"};
  for (const Mp4Box& inner : box.boxes) {
    if (left_out.contains(inner.type)) continue;
    const std::string inner_path = path + "/" + inner.type;
    lines.insert(inner_path + " = " + statement(inner));
    list_boxes(inner, inner_path, lines);
  }
}

std::vector<std::string> boxes_only_in_one(const Mp4Box& before, const Mp4Box& after) {
  std::multiset<std::string> lines_before;
  std::multiset<std::string> lines_after;
  for (const Mp4Box* track : before.all("moov/trak")) list_boxes(*track, "trak", lines_before);
  for (const Mp4Box* track : after.all("moov/trak")) list_boxes(*track, "trak", lines_after);
  std::vector<std::string> result;
  std::set_symmetric_difference(lines_before.begin(), lines_before.end(), lines_after.begin(),
                                lines_after.end(), std::back_inserter(result));
  return result;
}

// Encoding takes its time, so that each movie is made once and copied.
std::filesystem::path movie_of(void (*make)(const std::filesystem::path&), const std::string& name) {
  static const test::TemporaryFolder folder;
  const std::filesystem::path path = folder / name;
  if (!std::filesystem::exists(path)) make(path);
  return path;
}

std::filesystem::path trimmed_movie() {
  return movie_of(test::make_trimmed_movie, "trimmed.mp4");
}

class St3dRemux : public testing::Test {
 protected:
  /// Runs the pass on a copy of `movie`; the bytes of before are in `before_`, those after it in `after_`.
  void remux(const std::filesystem::path& movie) {
    movie_ = folder_ / ("clip" + movie.extension().string());
    std::filesystem::copy_file(movie, movie_);
    before_ = file_text(movie_);
    ASSERT_TRUE(add_st3d_to_movie(movie_, error_)) << error_;
    after_ = file_text(movie_);
    before_boxes_ = test::read_boxes(before_);
    after_boxes_ = test::read_boxes(after_);
  }

  void expect_samples_kept() {
    const auto before = before_boxes_.all("moov/trak");
    const auto after = after_boxes_.all("moov/trak");
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
      const auto samples = test::track_samples(before_, *before[i]);
      ASSERT_GT(samples.size(), 1U);
      EXPECT_EQ(samples, test::track_samples(after_, *after[i])) << "track " << i;
    }
  }

  void expect_stereo_marks() {
    const Mp4Box& entry = test::track_of_kind(after_boxes_, "vide").only("mdia/minf/stbl/stsd/hvc1");
    // Version and flags 0, stereo mode 2: left and right view side by side, left first.
    EXPECT_EQ(entry.only("st3d").payload, "\0\0\0\0\2"s);
  }

  /// Only the movie itself is in its folder.
  void expect_no_other_file() {
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
      EXPECT_EQ(entry.path(), movie_);
  }

  std::string probed(const std::string& arguments) {
    return output_of("ffprobe -v error -of default=nw=1 " + arguments + " " + quoted(movie_));
  }

  test::TemporaryFolder folder_;
  std::filesystem::path movie_;
  std::string before_;
  std::string after_;
  Mp4Box before_boxes_;
  Mp4Box after_boxes_;
  std::string error_;
};

TEST_F(St3dRemux, KeepsATrimmedHdrMovieAndAddsTheBox) {
  ASSERT_NO_FATAL_FAILURE(remux(trimmed_movie()));
  expect_samples_kept();
  expect_stereo_marks();
  expect_no_other_file();
  EXPECT_THAT(boxes_only_in_one(before_boxes_, after_boxes_), testing::IsEmpty());
  EXPECT_EQ(after_boxes_.only("moov/mvhd").payload, before_boxes_.only("moov/mvhd").payload);
  // The sound was cut from the middle, so this movie has edit lists to lose.
  EXPECT_EQ(before_boxes_.all("moov/trak/edts/elst").size(), 2U);
}

TEST_F(St3dRemux, KeepsLateSoundItsNameLanguageAndFlagsAndTheChapters) {
  ASSERT_NO_FATAL_FAILURE(remux(movie_of(test::make_chaptered_movie, "chaptered.mp4")));
  expect_samples_kept();
  expect_stereo_marks();
  EXPECT_THAT(boxes_only_in_one(before_boxes_, after_boxes_), testing::IsEmpty());
  EXPECT_EQ(after_boxes_.only("moov/udta/chpl").payload, before_boxes_.only("moov/udta/chpl").payload);
  EXPECT_EQ(probed("-select_streams a -show_entries stream_tags=language,handler_name"),
            "TAG:language=deu\nTAG:handler_name=Mikrofon\n");
  EXPECT_EQ(probed("-show_entries chapter_tags=title"), "TAG:title=First\nTAG:title=Second\n");
}

TEST_F(St3dRemux, MakesAQuickTimeMovieAnMp4MovieUnderItsOwnName) {
  ASSERT_NO_FATAL_FAILURE(remux(movie_of(test::make_quicktime_movie, "quicktime.mov")));
  expect_samples_kept();
  expect_stereo_marks();
  expect_no_other_file();
  const auto expect_same = [&](const std::string& path) {
    const auto before = before_boxes_.all(path);
    const auto after = after_boxes_.all(path);
    ASSERT_EQ(before.size(), after.size()) << path;
    for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(before[i]->payload, after[i]->payload) << path;
  };
  for (const char* path :
       {"moov/trak/tkhd", "moov/trak/edts/elst", "moov/trak/mdia/minf/stbl/stts",
        "moov/trak/mdia/minf/stbl/ctts", "moov/trak/mdia/minf/stbl/stss", "moov/trak/mdia/minf/stbl/stsz"}) {
    expect_same(path);
  }
  // QuickTime's name of the sample format has no meaning in MP4.
  const Mp4Box& sound = test::track_of_kind(after_boxes_, "soun");
  EXPECT_EQ(sound.only("mdia/minf/stbl/stsd").boxes.front().type, "ipcm");
}

TEST_F(St3dRemux, WritesTheIndexBehindTheSamples) {
  ASSERT_NO_FATAL_FAILURE(remux(trimmed_movie()));
  std::vector<std::string> order;
  for (const Mp4Box& box : after_boxes_.boxes) order.push_back(box.type);
  EXPECT_EQ(order, (std::vector<std::string>{"ftyp", "free", "mdat", "moov"}));
}

TEST_F(St3dRemux, IsReadAsStereoWithTheColorsOfBefore) {
  ASSERT_NO_FATAL_FAILURE(remux(trimmed_movie()));
  EXPECT_EQ(probed("-select_streams v -show_entries "
                   "stream=codec_name,profile,codec_tag_string,color_range,color_space,color_transfer,"
                   "color_primaries:stream_side_data=side_data_type,type,inverted"),
            "codec_name=hevc\nprofile=Main 10\ncodec_tag_string=hvc1\ncolor_range=tv\ncolor_space=bt2020nc\n"
            "color_transfer=arib-std-b67\ncolor_primaries=bt2020\nside_data_type=Stereo 3D\n"
            "type=side by side\ninverted=0\n");
}

TEST_F(St3dRemux, GivesTheSameMovieWhenRunAgain) {
  ASSERT_NO_FATAL_FAILURE(remux(trimmed_movie()));
  ASSERT_TRUE(add_st3d_to_movie(movie_, error_)) << error_;
  EXPECT_EQ(file_text(movie_), after_);
}

// A disk or a network that fails in the middle must not make a short movie of a long one.
TEST_F(St3dRemux, LeavesAMovieAloneThatCannotBeReadToItsEnd) {
  movie_ = folder_ / "clip.mp4";
  std::filesystem::copy_file(trimmed_movie(), movie_);
  const std::string whole = file_text(movie_);
  const auto boxes = test::read_boxes(whole);
  const auto samples = test::track_samples(whole, test::track_of_kind(boxes, "vide"));
  const std::size_t start_of_sample = samples[samples.size() / 2].data() - whole.data();
  for (const std::size_t end : {start_of_sample + 10, start_of_sample}) {
    std::filesystem::resize_file(movie_, end);
    EXPECT_FALSE(add_st3d_to_movie(movie_, error_));
    EXPECT_TRUE(error_.starts_with("could not write SBS metadata: ")) << error_;
    EXPECT_EQ(file_text(movie_), whole.substr(0, end));
    expect_no_other_file();
  }
}

TEST(St3dTemporaryPath, ReplacesTheExtension) {
  EXPECT_EQ(st3d_temporary_path("/out/clip.mp4"), "/out/clip.st3d.tmp.mp4");
  EXPECT_EQ(st3d_temporary_path("/out/clip.mov"), "/out/clip.st3d.tmp.mp4");
  EXPECT_EQ(st3d_temporary_path("/out.d/clip"), "/out.d/clip.st3d.tmp.mp4");
  EXPECT_EQ(st3d_temporary_path("/out/my.clip.mp4"), "/out/my.clip.st3d.tmp.mp4");
  EXPECT_EQ(st3d_temporary_path("/out/clip.st3d.tmp.mp4"), "/out/clip.st3d.tmp.st3d.tmp.mp4");
}

class FailingSt3dRemux : public testing::Test {
 protected:
  FailingSt3dRemux() : movie_(folder_ / "clip.mp4"), temporary_(folder_ / "clip.st3d.tmp.mp4") {
    av_log_set_level(AV_LOG_QUIET);
  }

  void make_movie() {
    std::filesystem::copy_file(trimmed_movie(), movie_);
    before_ = file_text(movie_);
  }

  test::TemporaryFolder folder_;
  std::filesystem::path movie_;
  std::filesystem::path temporary_;
  std::string before_;
  std::string error_;
};

TEST_F(FailingSt3dRemux, WithoutAMovieTellsThatItCouldNotBeOpened) {
  EXPECT_FALSE(add_st3d_to_movie(movie_, error_));
  EXPECT_EQ(error_, "could not open the software output for SBS metadata: No such file or directory");
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(FailingSt3dRemux, LeavesAFileThatIsNoMovieAlone) {
  std::ofstream(movie_) << "not a movie";
  EXPECT_FALSE(add_st3d_to_movie(movie_, error_));
  EXPECT_EQ(error_,
            "could not open the software output for SBS metadata: Invalid data found when processing input");
  EXPECT_EQ(file_text(movie_), "not a movie");
  EXPECT_FALSE(std::filesystem::exists(temporary_));
}

TEST_F(FailingSt3dRemux, WhereATemporaryFileCannotBeTheFolderInItsPlaceStays) {
  make_movie();
  std::filesystem::create_directory(temporary_);
  EXPECT_FALSE(add_st3d_to_movie(movie_, error_));
  EXPECT_EQ(error_, "could not write SBS metadata: File exists");
  EXPECT_EQ(file_text(movie_), before_);
  EXPECT_TRUE(std::filesystem::is_directory(temporary_));
}

TEST_F(FailingSt3dRemux, KeepsWhateverFileHasTheTemporaryName) {
  make_movie();
  std::ofstream(temporary_) << "precious";
  EXPECT_FALSE(add_st3d_to_movie(movie_, error_));
  EXPECT_EQ(error_, "could not write SBS metadata: File exists");
  EXPECT_EQ(file_text(temporary_), "precious");
  EXPECT_EQ(file_text(movie_), before_);
}

TEST_F(FailingSt3dRemux, OnAFullDiskKeepsTheMovieAndRemovesTheTemporaryFile) {
  make_movie();
  // The new movie has a few bytes more than the old one, so each of these ends the writing early.
  for (std::size_t room = 0; room <= before_.size(); room += before_.size() / 8) {
    bool written = false;
    {
      const FileSizeLimit limit(room);
      written = add_st3d_to_movie(movie_, error_);
    }
    EXPECT_FALSE(written) << room;
    EXPECT_EQ(error_, "could not write SBS metadata: File too large") << room;
    EXPECT_EQ(file_text(movie_), before_) << room;
    EXPECT_FALSE(std::filesystem::exists(temporary_)) << room;
  }
}

}  // namespace
}  // namespace veyrin::test
