// A device that is removed while frames are processed.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "common/platform/win32/windows_api.h"
#include "processing/d3d11/d3d11_yuv_processor.h"
#include "rectification/rectification_maps.h"
#include "tests/processing/d3d11/faulty_device.h"
#include "tests/processing/d3d11/gpu_frames.h"
#include "tests/processing/make_processor.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_d3d11va.h>
}

namespace veyrin::test {
namespace {

// The pictures do not matter here.
const ShaderSource small_shaders{
    .text = "[numthreads(1, 1, 1)] void luma() {} [numthreads(1, 1, 1)] void chroma() {}"};

AVD3D11VADeviceContext& hardware_of(const AVBufferRef& device) {
  return *static_cast<AVD3D11VADeviceContext*>(reinterpret_cast<AVHWDeviceContext*>(device.data)->hwctx);
}

class RemovedDevice : public ::testing::Test {
 protected:
  void SetUp() override {
    real_ = make_gpu_device();
    ASSERT_NE(real_, nullptr) << "no D3D11 adapter";
    faulty_ = std::make_unique<FaultyDevice>(platform::share_com_object(hardware_of(*real_).device));
    device_ = wrap_gpu_device(*faulty_);
    std::string error;
    processor_ = D3D11YuvProcessor::create(device_.get(), *make_tables(identity_maps({32, 32}), {64, 64}),
                                           {{64, 64}, {32, 32}}, BitDepth::eight, error, small_shaders);
    ASSERT_NE(processor_, nullptr) << error;
    const FramePtr picture = make_frame(AV_PIX_FMT_NV12, 64, 64);
    fill_random(*picture, 1);
    surface_ = DecoderSurfaces(device_.get(), AV_PIX_FMT_NV12, 64, 64, 1).upload(*picture);
    canvas_ = take_surface(processor_->encoder_frames());
  }

  std::string process_error(AVFrame* canvas) {
    std::string error;
    const bool processed = processor_->process(surface_.get(), surface_.get(), canvas, error);
    EXPECT_EQ(processed, error.empty());
    return error;
  }

  BufferRefPtr real_;
  std::unique_ptr<FaultyDevice> faulty_;
  BufferRefPtr device_;
  std::unique_ptr<D3D11YuvProcessor> processor_;
  FramePtr surface_;
  FramePtr canvas_;
};

// The context of such a device takes all work and does none of it.
TEST_F(RemovedDevice, FailsTheFrameWithTheReason) {
  EXPECT_EQ(process_error(canvas_.get()), "");
  faulty_->remove(DXGI_ERROR_DEVICE_REMOVED);
  EXPECT_EQ(process_error(canvas_.get()), "D3D11 YUV frame processing failed (HRESULT 0x887a0005)");
  faulty_->remove(DXGI_ERROR_DEVICE_RESET);
  EXPECT_EQ(process_error(canvas_.get()), "D3D11 YUV frame processing failed (HRESULT 0x887a0007)");
  faulty_->remove(S_OK);
  EXPECT_EQ(process_error(canvas_.get()), "");
}

TEST_F(RemovedDevice, IsTheReasonForWhateverElseFails) {
  const FramePtr empty(av_frame_alloc());
  EXPECT_EQ(process_error(empty.get()), "D3D11 encoder frame has no texture");
  faulty_->remove(DXGI_ERROR_DRIVER_INTERNAL_ERROR);
  EXPECT_EQ(process_error(empty.get()), "D3D11 YUV frame processing failed (HRESULT 0x887a0020)");
}

}  // namespace
}  // namespace veyrin::test
