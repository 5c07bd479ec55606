// Previews of ordinary videos, against what the ffmpeg program makes of them.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"
#include "tests/thumbnail/preview_run.h"

namespace veyrin::test {
namespace {

class SinglePreview : public testing::Test {
 protected:
  /// Runs the ffmpeg program; relative names are in the test's folder.
  void ffmpeg(const std::string& arguments) {
    output_of("cd '" + folder_.path().string() + "' && ffmpeg -v error -y " + arguments);
  }

  /// A picture of four quarters: red, green, blue and white, read from the upper left.
  void make_quarters(const std::string& name, int width, int height, const std::string& options) {
    const std::string w = std::to_string(width / 2), h = std::to_string(height / 2);
    const auto quarter = [&](const std::string& color, const std::string& x, const std::string& y) {
      return ",drawbox=x=" + x + ":y=" + y + ":w=" + w + ":h=" + h + ":color=" + color + ":t=fill";
    };
    ffmpeg("-f lavfi -i \"color=black:s=" + std::to_string(width) + "x" + std::to_string(height) +
           ":d=0.2:r=10,format=gbrp" + quarter("red", "0", "0") + quarter("lime", w, "0") +
           quarter("blue", "0", h) + quarter("white", w, h) + "\" " + options + " " + name);
  }

  PreviewRun preview(const std::string& name, int width) {
    return run_preview(folder_ / name, folder_ / (name + ".png"), width);
  }

  TemporaryFolder folder_;
};

bool is_near(Rgba pixel, Rgba expected) {
  return std::abs(pixel.red - expected.red) <= 6 && std::abs(pixel.green - expected.green) <= 6 &&
         std::abs(pixel.blue - expected.blue) <= 6;
}

constexpr Rgba red{255, 0, 0}, green{0, 255, 0}, blue{0, 0, 255}, white{255, 255, 255};

/// The colours around the middle of each quarter.
void expect_quarters(const Image& image, Rgba upper_left, Rgba upper_right, Rgba lower_left,
                     Rgba lower_right) {
  const int x = image.width() / 4, y = image.height() / 4;
  EXPECT_TRUE(is_near(image.row(y)[x], upper_left));
  EXPECT_TRUE(is_near(image.row(y)[image.width() - 1 - x], upper_right));
  EXPECT_TRUE(is_near(image.row(image.height() - 1 - y)[x], lower_left));
  EXPECT_TRUE(is_near(image.row(image.height() - 1 - y)[image.width() - 1 - x], lower_right));
}

const std::string h264 =
    "-c:v libx264 -pix_fmt yuv444p -qp 0 -colorspace bt709 -color_primaries bt709 "
    "-color_trc bt709 -color_range tv -vf scale=out_color_matrix=bt709:out_range=tv";

TEST_F(SinglePreview, IsTurnedUprightAsThePlayerWould) {
  make_quarters("lying.mp4", 64, 48, h264);
  struct Turn {
    int degrees;  // as the ffmpeg program takes them here: counterclockwise
    unsigned quarter_turns;
    int width, height;
    Rgba upper_left, upper_right, lower_left, lower_right;
  };
  for (const Turn& turn :
       {Turn{270, 1, 96, 128, blue, red, white, green}, Turn{180, 2, 96, 72, white, blue, green, red},
        Turn{90, 3, 96, 128, green, white, red, blue}}) {
    SCOPED_TRACE(turn.degrees);
    const std::string name = "turned" + std::to_string(turn.degrees) + ".mp4";
    ffmpeg("-i lying.mp4 -c copy -metadata:s:v:0 rotate=" + std::to_string(turn.degrees) + " " + name);
    const PreviewRun run = preview(name, 96);
    ASSERT_TRUE(run.written) << run.log;
    EXPECT_NE(run.log.find("Thumbnail rotation=" + std::to_string(turn.quarter_turns) +
                           " quarter-turn(s), MP4 display matrix=available\n"),
              std::string::npos)
        << run.log;
    EXPECT_EQ(run.image->width(), turn.width);
    EXPECT_EQ(run.image->height(), turn.height);
    expect_quarters(*run.image, turn.upper_left, turn.upper_right, turn.lower_left, turn.lower_right);

    // The ffmpeg program turns pictures upright by itself.
    ffmpeg("-i " + name + " -frames:v 1 -f image2 judge.png");
    const auto judge = read_png(folder_ / "judge.png");
    ASSERT_TRUE(judge);
    expect_quarters(*judge, turn.upper_left, turn.upper_right, turn.lower_left, turn.lower_right);
  }
}

TEST_F(SinglePreview, OfTheTrackThatHasPicturesTurnsAsThatTrackSays) {
  make_quarters("lying.mp4", 64, 48, h264);
  ffmpeg("-i lying.mp4 -c copy -metadata:s:v:0 rotate=270 turned.mp4");
  ffmpeg("-i lying.mp4 -i turned.mp4 -map 0 -map 1 -c copy -bsf:v:0 noise=drop=1 both.mp4");
  const PreviewRun run = preview("both.mp4", 96);
  ASSERT_TRUE(run.written) << run.log;
  EXPECT_EQ(run.image->width(), 96);
  EXPECT_EQ(run.image->height(), 128);
  expect_quarters(*run.image, blue, red, white, green);
}

TEST_F(SinglePreview, KeepsThePicturesShape) {
  make_quarters("clip.mp4", 64, 48, h264);
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {64, 48}, {641, 481}, {30, 23}, {800, 600}}) {
    const PreviewRun run = preview("clip.mp4", width);
    ASSERT_TRUE(run.written) << run.log;
    EXPECT_EQ(run.image->width(), width);
    EXPECT_EQ(run.image->height(), height);
    if (width > 4) expect_quarters(*run.image, red, green, blue, white);
  }
}

TEST_F(SinglePreview, ShowsPixelsThatAreNotSquareInTheirShape) {
  make_quarters("wide.mp4", 64, 48, h264 + ",setsar=2/1");
  PreviewRun run = preview("wide.mp4", 128);
  ASSERT_TRUE(run.written) << run.log;
  EXPECT_EQ(run.image->height(), 48);
  ffmpeg("-i wide.mp4 -c copy -metadata:s:v:0 rotate=90 turned.mp4");
  run = preview("turned.mp4", 48);
  ASSERT_TRUE(run.written) << run.log;
  EXPECT_EQ(run.image->height(), 128);
}

TEST_F(SinglePreview, LooksAsStandardRangePicturesAlwaysLooked) {
  // The same picture through a scaler that works on codes: nothing is scaled here, so light does not matter.
  ffmpeg(
      "-f lavfi -i testsrc2=s=96x64:d=0.1:r=10 -c:v libx264 -pix_fmt yuv444p -qp 0 -colorspace bt709 "
      "-color_primaries bt709 -color_trc bt709 -color_range tv "
      "-vf scale=out_color_matrix=bt709:out_range=tv clip.mp4");
  ffmpeg(
      "-i clip.mp4 -frames:v 1 -vf "
      "scale=in_color_matrix=bt709:in_range=tv:flags=accurate_rnd+full_chroma_int "
      "-pix_fmt rgb24 judge.png");
  const PreviewRun run = preview("clip.mp4", 96);
  ASSERT_TRUE(run.written) << run.log;
  const auto judge = read_png(folder_ / "judge.png");
  ASSERT_TRUE(judge);
  int worst = 0;
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 96; ++x) {
      const Rgba a = run.image->row(y)[x], b = judge->row(y)[x];
      worst =
          std::max({worst, std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
    }
  }
  EXPECT_LE(worst, 2);
}

TEST_F(SinglePreview, IsMadeOfManyKindsOfVideo) {
  make_quarters("prores.mov", 64, 48, "-c:v prores_ks -pix_fmt yuv422p10le");
  make_quarters("lossless.mkv", 64, 48, "-c:v ffv1 -pix_fmt gbrp");
  make_quarters("picture.png", 64, 48, "-frames:v 1 -pix_fmt rgb24");
  make_quarters("frames.gif", 64, 48, "");
  make_quarters("b_frames.mp4", 64, 48, "-c:v libx264 -bf 3 -pix_fmt yuv420p");
  make_quarters("old.avi", 64, 48, "-c:v mpeg4 -q:v 1");
  for (const char* name :
       {"prores.mov", "lossless.mkv", "picture.png", "frames.gif", "b_frames.mp4", "old.avi"}) {
    SCOPED_TRACE(name);
    const PreviewRun run = preview(name, 128);
    ASSERT_TRUE(run.written) << run.log;
    EXPECT_EQ(run.image->height(), 96);
    const Rgba corner = run.image->row(24)[32];
    EXPECT_GT(corner.red, 200);
    EXPECT_LT(corner.green, 60);
  }
}

TEST_F(SinglePreview, PassesOverACoverPicture) {
  make_quarters("clip.mp4", 64, 48, h264);
  ffmpeg("-f lavfi -i color=gray:s=500x500 -frames:v 1 cover.png");
  ffmpeg("-i cover.png -i clip.mp4 -map 0 -map 1 -c copy -disposition:v:0 attached_pic covered.mp4");
  const PreviewRun run = preview("covered.mp4", 96);
  ASSERT_TRUE(run.written) << run.log;
  EXPECT_NE(run.log.find("has only 1 playable video stream(s); using rotated fallback\n"), std::string::npos);
  EXPECT_EQ(run.image->height(), 72);
  expect_quarters(*run.image, red, green, blue, white);
}

TEST_F(SinglePreview, OfSoundWithACoverPictureIsTheCover) {
  ffmpeg("-f lavfi -i color=red:s=60x60 -frames:v 1 cover.png");
  ffmpeg(
      "-f lavfi -i sine=d=0.2 -i cover.png -map 0 -map 1 -c:a aac -c:v copy -disposition:v:0 attached_pic "
      "sound.m4a");
  const PreviewRun run = preview("sound.m4a", 30);
  ASSERT_TRUE(run.written) << run.log;
  EXPECT_EQ(run.image->height(), 30);
}

}  // namespace
}  // namespace veyrin::test
