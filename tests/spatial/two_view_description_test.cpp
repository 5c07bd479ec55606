#include "spatial/two_view_description.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/spatial/spatial_video_writer_fixture.h"

namespace veyrin::test {
namespace {

class TwoViewDescription : public SpatialVideoWriterFixture {
 protected:
  TwoViewDescription() {
    add_sound();
    create();
    write_pairs(2);
    EXPECT_TRUE(writer->finish(error)) << error;
    writer.reset();
    movie_ = file_text(config.output_path);
  }

  /// What is said of a file with these bytes.
  std::string said_of(const std::string& movie) {
    std::ofstream(config.output_path, std::ios::binary) << movie;
    std::string said;
    const bool complete = check_two_view_description(config.output_path, said);
    EXPECT_EQ(complete, said.empty());
    return said;
  }

  /// The movie with every `from` replaced by a text of the same length.
  [[nodiscard]] std::string with(std::string_view from, std::string_view to) const {
    std::string movie = movie_;
    std::size_t replaced = 0;
    for (std::size_t at = movie.find(from); at != std::string::npos;
         at = movie.find(from, at + 1), ++replaced)
      movie.replace(at, from.size(), to);
    EXPECT_GT(replaced, 0U) << from;
    return movie;
  }

  std::string movie_;
};

TEST_F(TwoViewDescription, OfBothViewsIsComplete) {
  EXPECT_EQ(said_of(movie_), "");
}

TEST_F(TwoViewDescription, SaysWhatIsNotThere) {
  const std::vector<std::string> sets = two_view_sets();
  const std::string message = "N" + sets[4].substr(1);
  struct LackCase {
    std::string from, to;
    const char* lacks;
  };
  using namespace std::string_literals;
  for (const LackCase& c : {
           LackCase{"vide", "none", "a track of HEVC"},
           LackCase{"hvc1", "avc1", "a track of HEVC"},
           LackCase{"hvcC", "free", "the parameter sets of the left view (hvcC)"},
           LackCase{"lhvC", "free", "the parameter sets of the right view (lhvC)"},
           LackCase{sets[0].substr(0, 4), "\x40\x01\x0C\x01"s, "the extension of the video parameter set"},
           LackCase{sets[1].substr(0, 4), "\x42\x11\x01\x01"s, "the sequence parameter set of the left view"},
           LackCase{sets[3].substr(0, 4), "\x42\x11\x0E\x85"s,
                    "the sequence parameter set of the right view"},
           LackCase{sets[4], message, "the picture parameter set of the right view"},
           LackCase{"vexu", "free", "the record of the eyes (vexu)"},
           LackCase{"stri\0\0\0\0\3"s, "stri\0\0\0\0\1"s, "the record of the eyes (vexu)"},
       }) {
    EXPECT_EQ(said_of(with(c.from, c.to)), "the finished spatial movie lacks "s + c.lacks) << c.from;
  }
}

TEST_F(TwoViewDescription, OfACutMovieIsIncomplete) {
  const std::size_t index = movie_.find("moov") - 4;
  ASSERT_LT(index, movie_.size());
  const std::size_t end = index + big_endian(movie_, index, 4);
  for (std::size_t size = 0; size < end; size += 7) EXPECT_NE(said_of(movie_.substr(0, size)), "") << size;
}

TEST_F(TwoViewDescription, OfWhatCannotBeReadAgainIsNotAsked) {
  std::string said;
  EXPECT_TRUE(check_two_view_description(folder / "", said));
  EXPECT_EQ(said, "");
  EXPECT_FALSE(check_two_view_description(folder / "missing", said));
  EXPECT_EQ(said, "could not read the finished spatial movie");
}

}  // namespace
}  // namespace veyrin::test
