// Frames whose picture does not begin in the corner of their surface, as FFmpeg's hardware decoders hand them
// over: the size counts from the corner, the cropping says what of it is left out.
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>

#include "processing/d3d11/d3d11_yuv_processor.h"
#include "processing/yuv_processor.h"
#include "tests/processing/d3d11/gpu_frames.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/random_maps.h"

namespace veyrin::test {
namespace {

constexpr Size picture_size{64, 48};
constexpr ProcessorGeometry geometry{picture_size, {48, 40}, OutputLayout::full_sbs};

struct Crop {
  std::size_t left, top, right, bottom;
};

class CroppedSurfaces : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    device_ = make_gpu_device();
    ASSERT_NE(device_, nullptr) << "no D3D11 adapter";
    std::string error;
    processor_ = D3D11YuvProcessor::create(
        device_.get(), *make_tables(random_maps({48, 40}, picture_size, 5), geometry.source), geometry,
        GetParam() == AV_PIX_FMT_NV12 ? BitDepth::eight : BitDepth::ten, error);
    ASSERT_NE(processor_, nullptr) << error;
  }

  /// The picture within noise on all sides, in the second slice of its array.
  FramePtr cropped(const AVFrame& picture, const Crop& crop) {
    const int left = static_cast<int>(crop.left);
    const int top = static_cast<int>(crop.top);
    const FramePtr surroundings = make_frame(GetParam(), left + picture.width + static_cast<int>(crop.right),
                                             top + picture.height + static_cast<int>(crop.bottom));
    fill_random(*surroundings, 77);
    for (const Channel channel : {Channel::y, Channel::u, Channel::v}) {
      const int shift = channel == Channel::y ? 0 : 1;
      for (int y = 0; y < channel_height(picture, channel); ++y)
        for (int x = 0; x < channel_width(picture, channel); ++x)
          set_sample(*surroundings, channel, x + (left >> shift), y + (top >> shift),
                     get_sample(picture, channel, x, y));
    }
    DecoderSurfaces surfaces(device_.get(), GetParam(), 128, 128, 2);
    const FramePtr other = surfaces.upload(*surroundings);
    FramePtr surface = surfaces.upload(*surroundings);
    surface->crop_left = crop.left;
    surface->crop_top = crop.top;
    surface->crop_right = crop.right;
    surface->crop_bottom = crop.bottom;
    return surface;
  }

  std::string process_error(const AVFrame& left, const AVFrame& right, AVFrame& canvas) const {
    std::string error;
    const bool processed = processor_->process(&left, &right, &canvas, error);
    EXPECT_EQ(processed, error.empty());
    return error;
  }

  BufferRefPtr device_;
  std::unique_ptr<D3D11YuvProcessor> processor_;
};

TEST_P(CroppedSurfaces, GiveThePictureOfTheirOwnPart) {
  const FramePtr pictures[] = {make_frame(GetParam(), picture_size.width, picture_size.height),
                               make_frame(GetParam(), picture_size.width, picture_size.height)};
  fill_random(*pictures[0], 1);
  fill_random(*pictures[1], 2);
  const FramePtr canvas = take_surface(processor_->encoder_frames());
  ASSERT_EQ(process_error(*cropped(*pictures[0], {}), *cropped(*pictures[1], {}), *canvas), "");
  const FramePtr wanted = download(*canvas);
  struct Pair {
    Crop left, right;
  };
  for (const Pair& pair : {Pair{{2, 0, 0, 0}, {0, 2, 0, 0}}, Pair{{8, 4, 0, 0}, {8, 4, 0, 0}},
                           Pair{{0, 0, 6, 2}, {4, 2, 10, 12}}, Pair{{62, 78, 0, 0}, {64, 80, 0, 0}}}) {
    ASSERT_EQ(process_error(*cropped(*pictures[0], pair.left), *cropped(*pictures[1], pair.right), *canvas),
              "");
    const FramePtr got = download(*canvas);
    for (const Channel channel : {Channel::y, Channel::u, Channel::v})
      for (int y = 0; y < channel_height(*got, channel); ++y)
        for (int x = 0; x < channel_width(*got, channel); ++x)
          ASSERT_EQ(get_stored(*got, channel, x, y), get_stored(*wanted, channel, x, y))
              << "left " << pair.left.left << ", top " << pair.left.top << " at " << x << ", " << y;
  }
}

// What FFmpeg's own cropping makes of a hardware frame is what the processor expects.
TEST_P(CroppedSurfaces, AreReadAsTheLibraryLeavesThem) {
  const FramePtr picture = make_frame(GetParam(), picture_size.width, picture_size.height);
  fill_random(*picture, 1);
  const FramePtr canvas = take_surface(processor_->encoder_frames());
  const FramePtr plain = cropped(*picture, {});
  ASSERT_EQ(process_error(*plain, *plain, *canvas), "");
  const FramePtr wanted = download(*canvas);
  const FramePtr surface = cropped(*picture, {6, 2, 8, 4});
  ASSERT_EQ(av_frame_apply_cropping(surface.get(), 0), 0);
  EXPECT_EQ(surface->crop_left, 6U);
  EXPECT_EQ(surface->width, picture_size.width + 6) << "only the right side was taken off";
  ASSERT_EQ(process_error(*surface, *surface, *canvas), "");
  const FramePtr got = download(*canvas);
  for (const Channel channel : {Channel::y, Channel::u, Channel::v})
    for (int y = 0; y < channel_height(*got, channel); ++y)
      for (int x = 0; x < channel_width(*got, channel); ++x)
        ASSERT_EQ(get_stored(*got, channel, x, y), get_stored(*wanted, channel, x, y));
}

TEST_P(CroppedSurfaces, AreRefusedWhenTheCroppingDoesNotLeaveThePicture) {
  const std::string refusal = "D3D11 decoder surfaces have an unexpected YUV format";
  const FramePtr picture = make_frame(GetParam(), picture_size.width, picture_size.height);
  const FramePtr plain = cropped(*picture, {});
  const FramePtr canvas = take_surface(processor_->encoder_frames());
  for (const Crop& crop :
       {Crop{2, 0, 0, 0}, Crop{0, 2, 0, 0}, Crop{0, 0, 2, 0}, Crop{0, 0, 0, 2}, Crop{64, 0, 0, 0},
        Crop{~std::size_t{0}, 0, 2, 0}, Crop{0, 0, 0, ~std::size_t{0}}}) {
    const FramePtr wrong = cropped(*picture, {});
    wrong->crop_left = crop.left;
    wrong->crop_top = crop.top;
    wrong->crop_right = crop.right;
    wrong->crop_bottom = crop.bottom;
    EXPECT_EQ(process_error(*wrong, *plain, *canvas), refusal);
    EXPECT_EQ(process_error(*plain, *wrong, *canvas), refusal);
  }
  // Between two chroma samples, and beyond the surface.
  const FramePtr odd = cropped(*picture, {1, 0, 0, 0});
  EXPECT_EQ(process_error(*odd, *plain, *canvas), refusal);
  const FramePtr beyond = cropped(*picture, {64, 0, 0, 0});
  beyond->crop_left += 2;
  beyond->width += 2;
  EXPECT_EQ(process_error(*beyond, *plain, *canvas), refusal);
}

INSTANTIATE_TEST_SUITE_P(BothDepths, CroppedSurfaces, ::testing::Values(AV_PIX_FMT_NV12, AV_PIX_FMT_P010LE),
                         [](const auto& instance) {
                           return std::string(instance.param == AV_PIX_FMT_NV12 ? "NV12" : "P010");
                         });

}  // namespace
}  // namespace veyrin::test
