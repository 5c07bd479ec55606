#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "media/ffmpeg.h"
#include "media/recording_input.h"

extern "C" {
#include <libavutil/display.h>
}

namespace veyrin::test {
namespace {

using Matrix = std::array<std::int32_t, 9>;

/// What a stream with the first `size` bytes of the matrix as its side data gives.
std::optional<int> turns_of(const Matrix& matrix, std::size_t size = sizeof(Matrix)) {
  const InputContextPtr input(avformat_alloc_context());
  AVCodecParameters* parameters = avformat_new_stream(input.get(), nullptr)->codecpar;
  AVPacketSideData* side_data = av_packet_side_data_new(
      &parameters->coded_side_data, &parameters->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX, size, 0);
  std::memcpy(side_data->data, matrix.data(), size);
  return display_rotation_quarter_turns(*input->streams[0]);
}

Matrix turned_by(double angle) {
  Matrix matrix{};
  av_display_rotation_set(matrix.data(), angle);
  return matrix;
}

struct Case {
  double angle;  ///< degrees as FFmpeg reports them
  int turns;
};

TEST(DisplayRotation, CountsQuarterTurns) {
  const Case cases[] = {{0, 0},   {-90, 1},  {90, 3}, {180, 2}, {-180, 2},
                        {-80, 1}, {-100, 1}, {44, 0}, {46, 3},  {-135.5, 2}};
  for (const Case& c : cases) {
    // FFmpeg sets matrices by the angle with the opposite sign of the one that it reports.
    const Matrix matrix = turned_by(-c.angle);
    ASSERT_NEAR(std::abs(av_display_rotation_get(matrix.data())), std::abs(c.angle), 0.01);
    EXPECT_EQ(turns_of(matrix), c.turns) << c.angle;
  }
}

TEST(DisplayRotation, ReadsTheMatrixThatQuickTimeWritesForAQuarterTurn) {
  // x' = -y, y' = x on a screen whose y runs down: clockwise.
  EXPECT_EQ(turns_of({0, 0x10000, 0, -0x10000, 0, 0, 0, 0, 0x40000000}), 1);
  EXPECT_EQ(turns_of({0, -0x10000, 0, 0x10000, 0, 0, 0, 0, 0x40000000}), 3);
}

TEST(DisplayRotation, IsNothingWithoutAUsableMatrix) {
  const InputContextPtr input(avformat_alloc_context());
  EXPECT_EQ(display_rotation_quarter_turns(*avformat_new_stream(input.get(), nullptr)), std::nullopt);
  EXPECT_EQ(turns_of(turned_by(90), 35), std::nullopt);
  EXPECT_EQ(turns_of(Matrix{}), std::nullopt);
}

}  // namespace
}  // namespace veyrin::test
