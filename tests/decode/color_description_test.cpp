#include "decode/color_description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

using testing::ElementsAre;

struct Described {
  ColorDescription description;
  std::vector<std::string> lines;
};

/// The tags by their numbers, those without a name included.
ColorTags numbered(int matrix, int primaries, int transfer, int range) {
  return {static_cast<AVColorPrimaries>(primaries), static_cast<AVColorTransferCharacteristic>(transfer),
          static_cast<AVColorSpace>(matrix), static_cast<AVColorRange>(range)};
}

Described describe(const ColorTags& tags, const std::string& label = "clip") {
  capture_output();
  Described result;
  result.description = describe_color(tags, label);
  std::string text = captured_output();
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
    result.lines.push_back(text.substr(0, end));
    text.erase(0, end + 1);
  }
  EXPECT_EQ(text, "");
  return result;
}

const ColorTags sdr = numbered(1, 1, 1, 1);
const ColorTags hlg = numbered(9, 9, 18, 1);

TEST(ColorDescription, WithAllTagsRecognisedPrintsOnlyTheSummary) {
  EXPECT_THAT(describe(sdr).lines,
              ElementsAre("[VideoReader] clip playback color: matrix=BT.709 primaries=BT.709 transfer=BT.709 "
                          "range=LIMITED rawTags(matrix=1 primaries=1 transfer=1 range=1)"));
  EXPECT_THAT(describe(hlg, "thumbnail track1").lines,
              ElementsAre("[VideoReader] thumbnail track1 playback color: matrix=BT.2020 NCL "
                          "primaries=BT.2020 transfer=HLG range=LIMITED "
                          "rawTags(matrix=9 primaries=9 transfer=18 range=1)"));
}

TEST(ColorDescription, WithAllTagsUnspecifiedGivesFourNoticesInOrder) {
  const Described result = describe(numbered(2, 2, 2, 0));
  EXPECT_THAT(result.lines,
              ElementsAre("[VideoReader] clip stream has absent YCbCr matrix tag (2); using BT.601",
                          "[VideoReader] clip stream has absent color primaries tag (2); using BT.709",
                          "[VideoReader] clip stream has absent transfer tag (2); using sRGB",
                          "[VideoReader] clip stream has absent range tag (0); using FULL",
                          "[VideoReader] clip playback color: matrix=BT.601 primaries=BT.709 transfer=sRGB "
                          "range=FULL rawTags(matrix=2 primaries=2 transfer=2 range=0)"));
  EXPECT_EQ(result.description.matrix.status, ColorTagStatus::absent);
  EXPECT_EQ(result.description.primaries.status, ColorTagStatus::absent);
  EXPECT_EQ(result.description.transfer.status, ColorTagStatus::absent);
  EXPECT_EQ(result.description.range.status, ColorTagStatus::absent);
}

TEST(ColorDescription, OfAnHlgStreamWarnsOfWhatIsAbsent) {
  EXPECT_THAT(describe(numbered(2, 2, 18, 0)).lines,
              ElementsAre("[VideoReader] WARNING: clip HLG stream has absent YCbCr matrix tag (2); using "
                          "BT.601; HDR description is incomplete",
                          "[VideoReader] WARNING: clip HLG stream has absent color primaries tag (2); using "
                          "BT.709; HDR description is incomplete",
                          "[VideoReader] WARNING: clip HLG stream has absent range tag (0); using FULL; HDR "
                          "description is incomplete",
                          "[VideoReader] clip playback color: matrix=BT.601 primaries=BT.709 transfer=HLG "
                          "range=FULL rawTags(matrix=2 primaries=2 transfer=18 range=0)"));
}

TEST(ColorDescription, OfConstantLuminanceFallsBackToBt601) {
  const Described result = describe(numbered(10, 9, 18, 1));
  EXPECT_THAT(result.lines,
              ElementsAre("[VideoReader] WARNING: clip stream has unsupported YCbCr matrix tag BT.2020 CL "
                          "(10); using BT.601",
                          "[VideoReader] clip playback color: matrix=BT.601 primaries=BT.2020 transfer=HLG "
                          "range=LIMITED rawTags(matrix=10 primaries=9 transfer=18 range=1)"));
  EXPECT_EQ(result.description.matrix.status, ColorTagStatus::unsupported);
  EXPECT_EQ(result.description.matrix.kind, ColorMatrix::bt601);
}

TEST(ColorDescription, OfEveryTagUnsupportedNamesThemAsFFmpegDoes) {
  EXPECT_THAT(
      describe(numbered(0, 12, 16, 3)).lines,
      ElementsAre("[VideoReader] WARNING: clip stream has unsupported YCbCr matrix tag GBR (0); using "
                  "BT.601",
                  "[VideoReader] WARNING: clip stream has unsupported color primaries tag SMPTE432 "
                  "(12); using BT.709",
                  "[VideoReader] WARNING: clip stream has unsupported transfer tag SMPTE2084 (16); "
                  "using sRGB",
                  "[VideoReader] WARNING: clip stream has unsupported range tag FFMPEG 3 (3); using "
                  "FULL",
                  "[VideoReader] clip playback color: matrix=BT.601 primaries=BT.709 transfer=sRGB "
                  "range=FULL rawTags(matrix=0 primaries=12 transfer=16 range=3)"));
}

TEST(ColorDescription, OfValuesWithoutAnyNamePrintsTheirNumbers) {
  constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
  EXPECT_THAT(
      describe(numbered(-3, 99, largest, -1)).lines,
      ElementsAre("[VideoReader] WARNING: clip stream has unsupported YCbCr matrix tag FFMPEG -3 "
                  "(-3); using BT.601",
                  "[VideoReader] WARNING: clip stream has unsupported color primaries tag FFMPEG 99 "
                  "(99); using BT.709",
                  "[VideoReader] WARNING: clip stream has unsupported transfer tag FFMPEG 2147483647 "
                  "(2147483647); using sRGB",
                  "[VideoReader] WARNING: clip stream has unsupported range tag FFMPEG -1 (-1); using "
                  "FULL",
                  "[VideoReader] clip playback color: matrix=BT.601 primaries=BT.709 transfer=sRGB "
                  "range=FULL rawTags(matrix=-3 primaries=99 transfer=2147483647 range=-1)"));
}

TEST(ColorDescription, OfAnAbsentTransferIsNoHlgStream) {
  EXPECT_THAT(describe(numbered(2, 9, 2, 1)).lines,
              ElementsAre("[VideoReader] clip stream has absent YCbCr matrix tag (2); using BT.601",
                          "[VideoReader] clip stream has absent transfer tag (2); using sRGB",
                          "[VideoReader] clip playback color: matrix=BT.601 primaries=BT.2020 transfer=sRGB "
                          "range=LIMITED rawTags(matrix=2 primaries=9 transfer=2 range=1)"));
}

/// One tag value, the others being those of an ordinary stream.
struct KindCase {
  ColorTags tags;
  ColorMatrix matrix;
  ColorPrimaries primaries;
  ColorTransfer transfer;
  ColorRange range;
  const char* summary;
};

TEST(ColorDescription, MapsEveryRecognisedValue) {
  const std::vector<KindCase> cases{
      {numbered(1, 1, 1, 1), ColorMatrix::bt709, ColorPrimaries::bt709, ColorTransfer::bt709,
       ColorRange::limited, "matrix=BT.709 primaries=BT.709 transfer=BT.709 range=LIMITED"},
      {numbered(5, 1, 13, 2), ColorMatrix::bt601, ColorPrimaries::bt709, ColorTransfer::srgb,
       ColorRange::full, "matrix=BT.470 BG primaries=BT.709 transfer=sRGB range=FULL"},
      {numbered(6, 9, 18, 2), ColorMatrix::bt601, ColorPrimaries::bt2020, ColorTransfer::hlg,
       ColorRange::full, "matrix=SMPTE 170M primaries=BT.2020 transfer=HLG range=FULL"},
      {numbered(9, 9, 1, 1), ColorMatrix::bt2020, ColorPrimaries::bt2020, ColorTransfer::bt709,
       ColorRange::limited, "matrix=BT.2020 NCL primaries=BT.2020 transfer=BT.709 range=LIMITED"},
  };
  for (const KindCase& expected : cases) {
    SCOPED_TRACE(expected.summary);
    const Described result = describe(expected.tags);
    const ColorDescription& description = result.description;
    EXPECT_EQ(description.matrix.kind, expected.matrix);
    EXPECT_EQ(description.primaries.kind, expected.primaries);
    EXPECT_EQ(description.transfer.kind, expected.transfer);
    EXPECT_EQ(description.range.kind, expected.range);
    EXPECT_EQ(description.matrix.status, ColorTagStatus::recognised);
    EXPECT_EQ(description.primaries.status, ColorTagStatus::recognised);
    EXPECT_EQ(description.transfer.status, ColorTagStatus::recognised);
    EXPECT_EQ(description.range.status, ColorTagStatus::recognised);
    EXPECT_EQ(description.tags, expected.tags);
    ASSERT_EQ(result.lines.size(), 1U);
    EXPECT_THAT(result.lines[0], testing::HasSubstr(expected.summary));
  }
}

TEST(ColorDescription, RecognisesNoOtherValues) {
  const auto counted = [](auto make, auto tag) {
    std::vector<int> values;
    for (int value = -2; value < 300; ++value) {
      if (tag(describe(make(value)).description).status == ColorTagStatus::recognised)
        values.push_back(value);
    }
    return values;
  };
  EXPECT_THAT(counted([](int v) { return numbered(v, 1, 1, 1); }, [](const auto& d) { return d.matrix; }),
              ElementsAre(1, 5, 6, 9));
  EXPECT_THAT(counted([](int v) { return numbered(1, v, 1, 1); }, [](const auto& d) { return d.primaries; }),
              ElementsAre(1, 9));
  EXPECT_THAT(counted([](int v) { return numbered(1, 1, v, 1); }, [](const auto& d) { return d.transfer; }),
              ElementsAre(1, 13, 18));
  EXPECT_THAT(counted([](int v) { return numbered(1, 1, 1, v); }, [](const auto& d) { return d.range; }),
              ElementsAre(1, 2));
}

TEST(ColorDescription, KeepsTheKindNumbers) {
  EXPECT_EQ(static_cast<int>(ColorMatrix::bt601), 0);
  EXPECT_EQ(static_cast<int>(ColorMatrix::bt2020), 1);
  EXPECT_EQ(static_cast<int>(ColorMatrix::bt709), 2);
  EXPECT_EQ(static_cast<int>(ColorTransfer::srgb), 0);
  EXPECT_EQ(static_cast<int>(ColorTransfer::hlg), 1);
  EXPECT_EQ(static_cast<int>(ColorTransfer::bt709), 2);
  EXPECT_EQ(static_cast<int>(ColorRange::full), 0);
  EXPECT_EQ(static_cast<int>(ColorRange::limited), 1);
}

}  // namespace
}  // namespace veyrin::test
