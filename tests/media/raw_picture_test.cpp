#include "media/raw_picture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "media/ffmpeg.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace veyrin::test {
namespace {

constexpr Size size{18, 6};

FramePtr painted_frame(BitDepth depth, RowLayout rows) {
  FramePtr frame(av_frame_alloc());
  EXPECT_GE(allocate_frame_buffers(*frame, raw_picture_format(depth), size, rows), 0);
  std::uint8_t next = 1;
  for (int plane = 0; plane < raw_plane_count(frame->format); ++plane)
    for (int y = 0; y < (plane == 0 ? size.height : size.height / 2); ++y)
      for (int x = 0; x < frame->linesize[plane]; ++x)
        frame->data[plane][y * frame->linesize[plane] + x] = next = static_cast<std::uint8_t>(next * 5 + 3);
  return frame;
}

std::vector<std::byte> joined(const BytePieces& pieces) {
  std::vector<std::byte> bytes;
  for (const auto& piece : pieces) bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

/// The picture as FFmpeg lays it out without gaps.
std::vector<std::byte> packed(const AVFrame& frame) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  std::vector<std::uint8_t> bytes(
      static_cast<std::size_t>(av_image_get_buffer_size(format, size.width, size.height, 1)));
  EXPECT_GT(av_image_copy_to_buffer(bytes.data(), static_cast<int>(bytes.size()), frame.data, frame.linesize,
                                    format, size.width, size.height, 1),
            0);
  std::vector<std::byte> result(bytes.size());
  std::memcpy(result.data(), bytes.data(), bytes.size());
  return result;
}

TEST(RawPicture, IsThePlanesWithoutGaps) {
  for (const BitDepth depth : {BitDepth::eight, BitDepth::ten}) {
    for (const RowLayout rows : {RowLayout::aligned, RowLayout::gapless}) {
      const FramePtr frame = painted_frame(depth, rows);
      BytePieces pieces;
      append_raw_picture(*frame, size, pieces);
      EXPECT_EQ(joined(pieces), packed(*frame));
      const std::size_t planes = depth == BitDepth::ten ? 2 : 3;
      const std::size_t all_rows = 6 + (planes - 1) * 3;
      EXPECT_EQ(pieces.size(), rows == RowLayout::gapless ? planes : all_rows);
    }
  }
}

TEST(RawPicture, FollowsWhatIsThere) {
  const FramePtr frame = painted_frame(BitDepth::eight, RowLayout::aligned);
  BytePieces pieces;
  append_raw_picture(*frame, size, pieces);
  append_raw_picture(*frame, size, pieces);
  const std::vector<std::byte> once = packed(*frame);
  std::vector<std::byte> twice = once;
  twice.insert(twice.end(), once.begin(), once.end());
  EXPECT_EQ(joined(pieces), twice);
}

TEST(RawPicture, OtherFormatsHaveNoPlanesToSend) {
  EXPECT_EQ(raw_plane_count(AV_PIX_FMT_P010LE), 2);
  EXPECT_EQ(raw_plane_count(AV_PIX_FMT_YUV420P), 3);
  for (const int other : {AV_PIX_FMT_NV12, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_NONE})
    EXPECT_EQ(raw_plane_count(other), 0);
}

}  // namespace
}  // namespace veyrin::test
