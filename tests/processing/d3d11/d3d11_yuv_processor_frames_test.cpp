// Frames that the GPU processor refuses, the lock of the device, and what many frames leave behind.
#include <d3d11sdklayers.h>
#include <gtest/gtest.h>
#include <psapi.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <set>
#include <string>

#include "media/video_types.h"
#include "processing/d3d11/d3d11_yuv_processor.h"
#include "rectification/rectification_maps.h"
#include "tests/processing/d3d11/gpu_frames.h"
#include "tests/processing/make_processor.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_d3d11va.h>
}

namespace veyrin::test {
namespace {

constexpr int source_size = 64;
constexpr int box_size = 32;

AVD3D11VADeviceContext& hardware_of(const AVBufferRef& device) {
  return *static_cast<AVD3D11VADeviceContext*>(reinterpret_cast<AVHWDeviceContext*>(device.data)->hwctx);
}

class D3D11YuvProcessorFrames : public ::testing::Test {
 protected:
  void SetUp() override {
    device_ = make_gpu_device();
    ASSERT_NE(device_, nullptr) << "no D3D11 adapter";
    std::string error;
    processor_ = D3D11YuvProcessor::create(
        device_.get(), *make_tables(identity_maps({box_size, box_size}), {source_size, source_size}),
        {{source_size, source_size}, {box_size, box_size}, OutputLayout::full_sbs}, BitDepth::ten, error);
    ASSERT_NE(processor_, nullptr) << error;
  }

  FramePtr surface(int format, int size = source_size) {
    const FramePtr picture = make_frame(format, size, size);
    fill_random(*picture, 5);
    return DecoderSurfaces(device_.get(), format, size, size, 1).upload(*picture);
  }

  std::string process_error(const AVFrame* left, const AVFrame* right, AVFrame* output) {
    std::string error;
    const bool processed = processor_->process(left, right, output, error);
    EXPECT_EQ(processed, error.empty());
    return error;
  }

  BufferRefPtr device_;
  std::unique_ptr<D3D11YuvProcessor> processor_;
};

TEST_F(D3D11YuvProcessorFrames, AreRefusedWhenTheyAreNotOnTheGpu) {
  const std::string refusal = "D3D11 YUV processor requires D3D11 frames";
  const FramePtr memory = make_frame(AV_PIX_FMT_P010LE, source_size, source_size);
  const FramePtr gpu = surface(AV_PIX_FMT_P010LE);
  const FramePtr canvas = take_surface(processor_->encoder_frames());
  EXPECT_EQ(process_error(memory.get(), gpu.get(), canvas.get()), refusal);
  EXPECT_EQ(process_error(gpu.get(), memory.get(), canvas.get()), refusal);
  EXPECT_EQ(process_error(nullptr, gpu.get(), canvas.get()), refusal);
  EXPECT_EQ(process_error(gpu.get(), nullptr, canvas.get()), refusal);
  EXPECT_EQ(process_error(gpu.get(), gpu.get(), canvas.get()), "");
}

TEST_F(D3D11YuvProcessorFrames, AreRefusedInAnotherFormatOrSize) {
  const std::string refusal = "D3D11 decoder surfaces have an unexpected YUV format";
  const FramePtr right_one = surface(AV_PIX_FMT_P010LE);
  const FramePtr eight_bit = surface(AV_PIX_FMT_NV12);
  const FramePtr small = surface(AV_PIX_FMT_P010LE, source_size - 2);
  const FramePtr large = surface(AV_PIX_FMT_P010LE, source_size + 2);
  // Says that it is as large as the others.
  const FramePtr cut_off = surface(AV_PIX_FMT_P010LE, source_size - 2);
  cut_off->width = cut_off->height = source_size;
  const FramePtr canvas = take_surface(processor_->encoder_frames());
  for (const AVFrame* wrong : {eight_bit.get(), small.get(), large.get(), cut_off.get()}) {
    EXPECT_EQ(process_error(wrong, right_one.get(), canvas.get()), refusal);
    EXPECT_EQ(process_error(right_one.get(), wrong, canvas.get()), refusal);
  }
}

TEST_F(D3D11YuvProcessorFrames, NeedACanvasOfTheEncodersSurfaces) {
  const FramePtr gpu = surface(AV_PIX_FMT_P010LE);
  const FramePtr empty(av_frame_alloc());
  EXPECT_EQ(process_error(gpu.get(), gpu.get(), empty.get()), "D3D11 encoder frame has no texture");
  const FramePtr eight_bit = surface(AV_PIX_FMT_NV12);
  EXPECT_EQ(process_error(gpu.get(), gpu.get(), eight_bit.get()),
            "D3D11 encoder surface has an unexpected format or size");
  const FramePtr other_size = surface(AV_PIX_FMT_P010LE);
  EXPECT_EQ(process_error(gpu.get(), gpu.get(), other_size.get()),
            "D3D11 encoder surface has an unexpected format or size");
}

TEST_F(D3D11YuvProcessorFrames, AreWrittenIntoTheCanvassOwnSlice) {
  const FramePtr gpu = surface(AV_PIX_FMT_P010LE);
  const FramePtr single = take_surface(processor_->encoder_frames());
  ASSERT_EQ(process_error(gpu.get(), gpu.get(), single.get()), "");
  const FramePtr wanted = download(*single);

  const FramePtr blank = make_frame(AV_PIX_FMT_P010LE, 2 * box_size, box_size);
  fill_random(*blank, 8);
  DecoderSurfaces slices(device_.get(), AV_PIX_FMT_P010LE, 2 * box_size, box_size, 3);
  const FramePtr canvases[] = {slices.upload(*blank), slices.upload(*blank), slices.upload(*blank)};
  for (const FramePtr& canvas : canvases) {
    if (slice_of(*canvas) != 1) continue;
    ASSERT_EQ(process_error(gpu.get(), gpu.get(), canvas.get()), "");
  }
  for (const FramePtr& canvas : canvases) {
    const FramePtr got = download(*canvas);
    const AVFrame& expected = slice_of(*canvas) == 1 ? *wanted : *blank;
    for (const Channel channel : {Channel::y, Channel::u, Channel::v})
      for (int y = 0; y < channel_height(*got, channel); ++y)
        for (int x = 0; x < channel_width(*got, channel); ++x)
          ASSERT_EQ(get_stored(*got, channel, x, y), get_stored(expected, channel, x, y))
              << "slice " << slice_of(*canvas);
  }
}

struct LockCount {
  int depth = 0;
  int taken = 0;
  bool wrong = false;
};

TEST_F(D3D11YuvProcessorFrames, LockTheDeviceOnceOnEveryWayOut) {
  const FramePtr gpu = surface(AV_PIX_FMT_P010LE);
  const FramePtr eight_bit = surface(AV_PIX_FMT_NV12);
  const FramePtr memory = make_frame(AV_PIX_FMT_P010LE, source_size, source_size);
  const FramePtr empty(av_frame_alloc());
  const FramePtr canvas = take_surface(processor_->encoder_frames());

  LockCount count;
  AVD3D11VADeviceContext& hardware = hardware_of(*device_);
  const AVD3D11VADeviceContext saved = hardware;
  hardware.lock_ctx = &count;
  hardware.lock = [](void* context) {
    auto& locks = *static_cast<LockCount*>(context);
    locks.wrong |= locks.depth++ != 0;
    ++locks.taken;
  };
  hardware.unlock = [](void* context) {
    auto& locks = *static_cast<LockCount*>(context);
    locks.wrong |= --locks.depth != 0;
  };
  struct Way {
    const AVFrame* left;
    AVFrame* output;
    int locks;
  };
  for (const Way& way : {Way{gpu.get(), canvas.get(), 1}, Way{eight_bit.get(), canvas.get(), 1},
                         Way{gpu.get(), empty.get(), 1}, Way{gpu.get(), eight_bit.get(), 1},
                         Way{memory.get(), canvas.get(), 0}}) {
    count.taken = 0;
    process_error(way.left, gpu.get(), way.output);
    EXPECT_EQ(count.taken, way.locks);
    EXPECT_EQ(count.depth, 0);
    EXPECT_FALSE(count.wrong);
  }
  hardware.lock = saved.lock;
  hardware.unlock = saved.unlock;
  hardware.lock_ctx = saved.lock_ctx;
}

std::size_t private_bytes() {
  PROCESS_MEMORY_COUNTERS_EX counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters),
                       sizeof counters);
  return counters.PagefileUsage;
}

TEST_F(D3D11YuvProcessorFrames, LeaveNoMemoryBehind) {
  const FramePtr gpu = surface(AV_PIX_FMT_P010LE);
  std::set<const void*> textures;
  const auto run = [&](int frames) {
    for (int frame = 0; frame < frames; ++frame) {
      const FramePtr canvas = take_surface(processor_->encoder_frames());
      textures.insert(canvas->data[0]);
      ASSERT_EQ(process_error(gpu.get(), gpu.get(), canvas.get()), "");
      // Reading back waits for the GPU, as the encoder does.
      if (frame % 10 == 0) download(*canvas);
    }
  };
  run(200);
  const std::size_t before = private_bytes();
  run(1000);
  const std::size_t after = private_bytes();
  EXPECT_LE(textures.size(), 4U) << "surfaces are used again";
  // A canvas left behind each time would be at least 6 MiB.
  constexpr std::size_t noise = 2 << 20;
  std::printf("  private memory: %zu KiB before, %zu KiB after 1000 frames\n", before / 1024, after / 1024);
  EXPECT_LE(after, before + noise);
}

TEST(D3D11DebugLayer, HasNothingToSay) {
  AVBufferRef* created = nullptr;
  Dictionary options;
  options.set("debug", "1");
  av_hwdevice_ctx_create(&created, AV_HWDEVICE_TYPE_D3D11VA, nullptr, *options.address(), 0);
  const BufferRefPtr device(created);
  ID3D11InfoQueue* queue = nullptr;
  if (device) {
    hardware_of(*device).device->QueryInterface(__uuidof(ID3D11InfoQueue), reinterpret_cast<void**>(&queue));
  }
  if (queue == nullptr) GTEST_SKIP() << "this machine has no D3D11 debug layer";
  const platform::ComPtr<ID3D11InfoQueue> messages(queue);
  std::string error;
  for (const BitDepth depth : {BitDepth::eight, BitDepth::ten}) {
    const AVPixelFormat format = semi_planar_format(depth);
    const FramePtr picture = make_frame(format, source_size, source_size);
    DecoderSurfaces surfaces(device.get(), format, source_size, source_size, 2);
    const FramePtr left = surfaces.upload(*picture);
    const FramePtr right = surfaces.upload(*picture);
    messages->ClearStoredMessages();
    const auto processor = D3D11YuvProcessor::create(
        device.get(), *make_tables(identity_maps({box_size, box_size}), {source_size, source_size}),
        {{source_size, source_size}, {box_size, box_size}, OutputLayout::half_sbs}, depth, error);
    ASSERT_NE(processor, nullptr) << error;
    const FramePtr canvas = take_surface(processor->encoder_frames());
    ASSERT_TRUE(processor->process(left.get(), right.get(), canvas.get(), error)) << error;
    EXPECT_EQ(messages->GetNumStoredMessages(), 0U);
  }
}

}  // namespace
}  // namespace veyrin::test
