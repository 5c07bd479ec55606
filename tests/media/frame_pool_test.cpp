#include "media/frame_pool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace veyrin::test {
namespace {

TEST(FramePool, HandsOutFramesOfItsKindAgain) {
  FramePool pool(AV_PIX_FMT_NV12, {66, 34}, RowLayout::aligned);
  FramePtr frame = pool.take();
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->format, AV_PIX_FMT_NV12);
  EXPECT_EQ(frame->width, 66);
  EXPECT_EQ(frame->height, 34);
  EXPECT_EQ(frame->linesize[0] % 32, 0);
  const FramePtr other = pool.take();
  EXPECT_NE(other->data[0], frame->data[0]) << "both are in use";
  const std::uint8_t* first = frame->data[0];
  pool.give_back(std::move(frame));
  EXPECT_EQ(pool.take()->data[0], first);
}

TEST(FramePool, WaitsUntilNobodyElseHoldsAPicture) {
  FramePool pool(AV_PIX_FMT_YUV420P, {64, 32}, RowLayout::aligned);
  FramePtr frame = pool.take();
  FramePtr encoders(av_frame_clone(frame.get()));
  const std::uint8_t* first = frame->data[0];
  pool.give_back(std::move(frame));
  FramePtr second = pool.take();
  EXPECT_NE(second->data[0], first) << "the encoder still reads it";
  encoders.reset();
  EXPECT_EQ(pool.take()->data[0], first);
}

TEST(FramePool, LeavesNoGapBetweenRowsWhereNoneIsWanted) {
  FramePool pool(AV_PIX_FMT_YUV420P, {66, 34}, RowLayout::gapless);
  const FramePtr planar = pool.take();
  EXPECT_EQ(planar->linesize[0], 66);
  EXPECT_EQ(planar->linesize[1], 33);
  FramePool ten_bit(AV_PIX_FMT_P010LE, {66, 34}, RowLayout::gapless);
  EXPECT_EQ(ten_bit.take()->linesize[1], 132);
}

TEST(FramePool, HasNoFrameOfAnImpossibleSize) {
  FramePool pool(AV_PIX_FMT_YUV420P, {-2, 32}, RowLayout::aligned);
  EXPECT_EQ(pool.take(), nullptr);
}

}  // namespace
}  // namespace veyrin::test
