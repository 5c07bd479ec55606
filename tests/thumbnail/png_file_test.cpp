#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include "tests/support/captured_output.h"
#include "tests/support/command.h"
#include "tests/support/linux/file_size_limit.h"
#include "tests/support/temporary_folder.h"
#include "tests/thumbnail/workers.h"
#include "thumbnail/image.h"

namespace veyrin::test {
namespace {

ImagePtr gradient(int width, int height, int transparency = 1) {
  auto image = SinglePlaneImage::create({width, height}, {});
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image->row(y)[x] = {static_cast<std::uint8_t>(x * 7), static_cast<std::uint8_t>(y * 11),
                          static_cast<std::uint8_t>(x * y),
                          static_cast<std::uint8_t>(255 - x % 2 * transparency)};
    }
  }
  return image;
}

struct Written {
  bool done = false;
  std::string log;
};

Written write(const std::filesystem::path& output, const Image& image, bool overwrite = true) {
  capture_output();
  Written result;
  result.done = write_png_atomically(output, image, overwrite, workers());
  result.log = captured_output();
  return result;
}

std::vector<std::string> names_in(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::ranges::sort(names);
  return names;
}

using Names = std::vector<std::string>;

TEST(PngFile, HoldsTheImageAsAnotherDecoderReadsIt) {
  const TemporaryFolder folder;
  for (const auto& [width, height] : {std::pair{1, 1}, {37, 23}, {300, 1}, {1, 300}, {300, 900}}) {
    for (const int transparency : {0, 1}) {
      const auto image = gradient(width, height, transparency);
      const std::filesystem::path output = folder / "preview.png";
      const Written result = write(output, *image);
      EXPECT_TRUE(result.done) << result.log;
      EXPECT_EQ(result.log, "");
      EXPECT_EQ(names_in(folder.path()), Names{"preview.png"});
      const std::string pixels = output_of("ffmpeg -v error -err_detect explode -i '" + output.string() +
                                           "' -f rawvideo -pix_fmt rgba -");
      const auto* first = reinterpret_cast<const char*>(image->row(0));
      EXPECT_TRUE(pixels == std::string(first, static_cast<std::size_t>(width * height) * 4))
          << width << "x" << height << ", transparency " << transparency;
    }
  }
}

TEST(PngFile, IsMarkedAsSrgb) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write(folder / "preview.png", *gradient(4, 4)).done);
  EXPECT_NE(file_text(folder / "preview.png").find("sRGB"), std::string::npos);
}

TEST(PngFile, SaysThatItsPixelsAreSquare) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write(folder / "preview.png", *gradient(4, 4)).done);
  const std::string bytes = file_text(folder / "preview.png");
  const std::size_t name = bytes.find("pHYs");
  ASSERT_NE(name, std::string::npos);
  ASSERT_LT(name + 13, bytes.size());
  // Its length, its name, 1 by 1 in no unit.
  EXPECT_EQ(bytes.substr(name - 4, 17), std::string("\0\0\0\x09pHYs\0\0\0\1\0\0\0\1\0", 17));
}

TEST(PngFile, MakesMissingFolders) {
  const TemporaryFolder folder;
  const std::filesystem::path output = folder / "a/b c/\xc3\xa9t\xc3\xa9.png";
  EXPECT_TRUE(write(output, *gradient(4, 4)).done);
  EXPECT_TRUE(read_png(output));
}

TEST(PngFile, ReplacesAnOlderOneAndWhatAKilledProcessHasLeft) {
  const TemporaryFolder folder;
  std::ofstream(folder / "preview.png") << "old";
  std::ofstream(folder / "preview.png.tmp") << "left over";
  std::ofstream(folder / "preview.png.tmp.veyrin-lock")
      << "a veyrin-video-converter is writing the file of this name\n";
  EXPECT_TRUE(write(folder / "preview.png", *gradient(4, 4)).done);
  EXPECT_TRUE(read_png(folder / "preview.png"));
  EXPECT_EQ(names_in(folder.path()), Names{"preview.png"});
}

TEST(PngFile, FailsWhereNoFolderCanBeMade) {
  const TemporaryFolder folder;
  std::ofstream(folder / "file") << "in the way";
  const std::string output = (folder / "file/sub/preview.png").string();
  const Written result = write(output, *gradient(4, 4));
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.log, "[VideoThumbnailGenerator] Could not create output directory for " + output + "\n");
}

TEST(PngFile, KeepsAnExistingOneUnlessToldToReplaceIt) {
  const TemporaryFolder folder;
  std::ofstream(folder / "preview.png") << "old";
  const std::string output = (folder / "preview.png").string();
  const Written result = write(output, *gradient(4, 4), /*overwrite=*/false);
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.log,
            "[VideoThumbnailGenerator] output already exists (use --overwrite): " + output + "\n");
  EXPECT_EQ(file_text(output), "old");
}

class TakenTemporaryPng : public testing::TestWithParam<void (*)(const TemporaryFolder&)> {};

TEST_P(TakenTemporaryPng, IsKeptAndNamed) {
  const TemporaryFolder folder;
  std::ofstream(folder / "preview.png") << "old";
  std::ofstream(folder / "precious") << "precious";
  GetParam()(folder);
  const Names before = names_in(folder.path());
  const std::string output = (folder / "preview.png").string();
  const Written result = write(output, *gradient(4, 4));
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.log, "[VideoThumbnailGenerator] Could not write temporary PNG " + output + ".tmp\n");
  EXPECT_EQ(names_in(folder.path()), before);
  EXPECT_EQ(file_text(output), "old");
  EXPECT_EQ(file_text(folder / "precious"), "precious");
}

INSTANTIATE_TEST_SUITE_P(
    Objects, TakenTemporaryPng,
    testing::Values(
        [](const TemporaryFolder& folder) { std::ofstream(folder / "preview.png.tmp") << "mine"; },
        [](const TemporaryFolder& folder) { std::filesystem::create_directory(folder / "preview.png.tmp"); },
        [](const TemporaryFolder& folder) {
          std::filesystem::create_symlink("precious", folder / "preview.png.tmp");
        },
        [](const TemporaryFolder& folder) {
          std::filesystem::create_symlink("missing", folder / "preview.png.tmp");
        }));

TEST(PngFile, FailsOnAFullDisk) {
  const TemporaryFolder folder;
  std::ofstream(folder / "preview.png") << "old";
  const std::string output = (folder / "preview.png").string();
  const FileSizeLimit limit(250);
  const Written result = write(output, *gradient(64, 64));
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.log, "[VideoThumbnailGenerator] Could not write temporary PNG " + output + ".tmp\n");
  EXPECT_EQ(names_in(folder.path()), Names{"preview.png"});
  EXPECT_EQ(file_text(output), "old");
}

/// Never gives the same pixels twice, so that what was written is not what is compared.
class FlickeringImage final : public Image {
 public:
  FlickeringImage() : Image({1, 1}) {}
  [[nodiscard]] Rgba* row(int) override { return &next(); }
  [[nodiscard]] const Rgba* row(int) const override { return &next(); }

 private:
  Rgba& next() const {
    ++pixel_.red;
    return pixel_;
  }
  mutable Rgba pixel_;
};

TEST(PngFile, IsNotPublishedWhenItReadsBackDifferently) {
  const TemporaryFolder folder;
  const std::string output = (folder / "preview.png").string();
  const Written result = write(output, FlickeringImage());
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.log, "[VideoThumbnailGenerator] Generated PNG failed validation: " + output + ".tmp\n");
  EXPECT_EQ(names_in(folder.path()), Names{});
}

/// Has no memory for its rows.
class ImageWithoutMemory final : public Image {
 public:
  ImageWithoutMemory() : Image({1, 1}) {}
  [[nodiscard]] Rgba* row(int) override { throw std::bad_alloc(); }
  [[nodiscard]] const Rgba* row(int) const override { throw std::bad_alloc(); }
};

TEST(PngFile, FailsWhenMemoryIsShort) {
  const TemporaryFolder folder;
  const std::string output = (folder / "preview.png").string();
  const Written result = write(output, ImageWithoutMemory());
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.log, "[VideoThumbnailGenerator] Could not write temporary PNG " + output + ".tmp\n");
  EXPECT_EQ(names_in(folder.path()), Names{});
}

TEST(PngFile, IsNotPublishedOverAFolder) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "preview.png");
  const std::string output = (folder / "preview.png").string();
  const Written result = write(output, *gradient(4, 4));
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.log, "[VideoThumbnailGenerator] Could not publish " + output + ": Is a directory\n");
  EXPECT_EQ(names_in(folder.path()), Names{"preview.png"});
}

TEST(PngFile, IsReadOnlyWhenItIsWhole) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write(folder / "whole.png", *gradient(64, 64)).done);
  const std::string bytes = file_text(folder / "whole.png");
  ASSERT_TRUE(read_png(folder / "whole.png"));
  std::ofstream(folder / "cut.png", std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  std::ofstream(folder / "text.png", std::ios::binary) << "no picture";
  std::ofstream(folder / "empty.png", std::ios::binary) << "";
  for (const char* name : {"cut.png", "text.png", "empty.png", "missing.png"}) {
    EXPECT_FALSE(read_png(folder / name)) << name;
  }
}

}  // namespace
}  // namespace veyrin::test
