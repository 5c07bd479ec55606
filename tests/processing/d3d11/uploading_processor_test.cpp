// Frames in memory give the picture that the same frames give on the GPU.
#include "processing/uploading_processor.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "media/video_types.h"
#include "processing/d3d11/d3d11_yuv_processor.h"
#include "tests/processing/d3d11/gpu_frames.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/random_maps.h"

namespace veyrin::test {
namespace {

constexpr int source_size = 64;
constexpr int box_size = 48;
constexpr ProcessorGeometry geometry{
    {source_size, source_size}, {box_size, box_size}, OutputLayout::full_sbs};

class UploadingProcessorFormats : public ::testing::TestWithParam<int> {};

TEST_P(UploadingProcessorFormats, GivesThePictureOfGpuFrames) {
  const int memory_format = GetParam();
  const BitDepth depth = sample_bits(memory_format) == 10 ? BitDepth::ten : BitDepth::eight;
  const AVPixelFormat surface_format = semi_planar_format(depth);
  const BufferRefPtr device = make_gpu_device();
  ASSERT_NE(device, nullptr) << "no D3D11 adapter";
  std::string error;
  auto gpu = D3D11YuvProcessor::create(
      device.get(),
      *make_tables(random_maps({box_size, box_size}, {source_size, source_size}, 3), geometry.source),
      geometry, depth, error);
  ASSERT_NE(gpu, nullptr) << error;
  const D3D11YuvProcessor& direct = *gpu;
  const FramePtr expected = take_surface(direct.encoder_frames());
  const FramePtr canvas = take_surface(direct.encoder_frames());
  const UploadingProcessor uploading(make_upload_surfaces(device.get(), geometry.source, depth, error),
                                     std::move(gpu));

  // The same codes in both formats.
  FramePtr memory[2];
  FramePtr surfaces[2];
  for (int eye = 0; eye < 2; ++eye) {
    memory[eye] = make_frame(memory_format, source_size, source_size, 6);
    fill_random(*memory[eye], static_cast<std::uint32_t>(eye) + 1);
    const FramePtr same = make_frame(surface_format, source_size, source_size);
    fill_random(*same, static_cast<std::uint32_t>(eye) + 1);
    surfaces[eye] = DecoderSurfaces(device.get(), surface_format, source_size, source_size, 1).upload(*same);
  }
  ASSERT_TRUE(direct.process(surfaces[0].get(), surfaces[1].get(), expected.get(), error)) << error;
  const FramePtr wanted = download(*expected);
  struct Pair {
    const AVFrame* left;
    const AVFrame* right;
  };
  for (const Pair& pair :
       {Pair{memory[0].get(), memory[1].get()}, Pair{surfaces[0].get(), memory[1].get()},
        Pair{memory[0].get(), surfaces[1].get()}, Pair{surfaces[0].get(), surfaces[1].get()}}) {
    ASSERT_TRUE(uploading.process(pair.left, pair.right, canvas.get(), error)) << error;
    const FramePtr got = download(*canvas);
    for (const Channel channel : {Channel::y, Channel::u, Channel::v})
      for (int y = 0; y < channel_height(*got, channel); ++y)
        for (int x = 0; x < channel_width(*got, channel); ++x)
          ASSERT_EQ(get_stored(*got, channel, x, y), get_stored(*wanted, channel, x, y));
  }
  const FramePtr small = make_frame(memory_format, source_size - 2, source_size);
  EXPECT_FALSE(uploading.process(small.get(), memory[1].get(), canvas.get(), error));
  EXPECT_EQ(error, "could not upload a decoded frame: Invalid argument");
}

INSTANTIATE_TEST_SUITE_P(AllFormats, UploadingProcessorFormats,
                         ::testing::Values(AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12,
                                           AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE));

}  // namespace
}  // namespace veyrin::test
