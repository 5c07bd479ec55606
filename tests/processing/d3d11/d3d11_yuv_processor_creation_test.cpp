// What making the GPU processor says when a piece of the machine fails, and that it leaves nothing behind.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "processing/d3d11/d3d11_yuv_processor.h"
#include "rectification/rectification_maps.h"
#include "tests/processing/d3d11/faulty_device.h"
#include "tests/processing/d3d11/gpu_frames.h"
#include "tests/processing/make_processor.h"
#include "tests/support/allocation_limit.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_d3d11va.h>
}

namespace veyrin::test {
namespace {

using platform::share_com_object;

constexpr ProcessorGeometry geometry{{64, 64}, {32, 32}, OutputLayout::full_sbs};

ID3D11Device* device_of(const AVBufferRef& device) {
  return static_cast<AVD3D11VADeviceContext*>(reinterpret_cast<AVHWDeviceContext*>(device.data)->hwctx)
      ->device;
}

// The real shaders take the compiler much longer; what is tested here does not depend on them.
const ShaderSource small_shaders{
    .text = "[numthreads(1, 1, 1)] void luma() {} [numthreads(1, 1, 1)] void chroma() {}"};

ULONG references(ID3D11Device& device) {
  device.AddRef();
  return device.Release();
}

class D3D11YuvProcessorCreation : public ::testing::Test {
 protected:
  void SetUp() override {
    device_ = make_gpu_device();
    ASSERT_NE(device_, nullptr) << "no D3D11 adapter";
  }

  std::string create_error(AVBufferRef* device, const ShaderSource& shaders = {}) {
    return create_error(device, maps_, geometry, shaders);
  }
  static std::string create_error(AVBufferRef* device, const RectificationMaps& maps,
                                  const ProcessorGeometry& sizes, const ShaderSource& shaders = {}) {
    std::string error;
    const auto processor = D3D11YuvProcessor::create(device, *make_tables(maps, sizes.source), sizes,
                                                     BitDepth::ten, error, shaders);
    EXPECT_EQ(processor == nullptr, !error.empty());
    return error;
  }

  BufferRefPtr device_;
  RectificationMaps maps_ = identity_maps({32, 32});
};

TEST_F(D3D11YuvProcessorCreation, SucceedsHere) {
  EXPECT_EQ(create_error(device_.get()), "");
}

TEST_F(D3D11YuvProcessorCreation, NeedsADevice) {
  EXPECT_EQ(create_error(nullptr), "could not retain D3D11 device");
}

TEST_F(D3D11YuvProcessorCreation, ChecksTheSizes) {
  const std::string odd = "D3D11 YUV GPU path requires even dimensions";
  const std::string small = "D3D11 YUV canvas is smaller than the rectified image";
  EXPECT_EQ(create_error(device_.get(), identity_maps({31, 32}), geometry), odd);
  EXPECT_EQ(create_error(device_.get(), identity_maps({32, 31}), geometry), odd);
  EXPECT_EQ(create_error(device_.get(), maps_, {{63, 64}, {32, 32}}), odd);
  EXPECT_EQ(create_error(device_.get(), maps_, {{64, 63}, {32, 32}}), odd);
  EXPECT_EQ(create_error(device_.get(), maps_, {{64, 64}, {33, 32}}), odd);
  EXPECT_EQ(create_error(device_.get(), maps_, {{64, 64}, {32, 33}}), odd);
  EXPECT_EQ(create_error(device_.get(), maps_, {{64, 64}, {30, 32}}), small);
  EXPECT_EQ(create_error(device_.get(), maps_, {{64, 64}, {32, 30}}), small);
  EXPECT_EQ(create_error(device_.get(), RectificationMaps{}, geometry),
            "invalid D3D11 YUV rectification maps");
}

TEST_F(D3D11YuvProcessorCreation, SaysThatTheCompilerIsMissing) {
  EXPECT_EQ(create_error(device_.get(), {.compiler_library = "no_such_compiler.dll"}),
            "could not compile D3D11 YUV shader: no_such_compiler.dll could not be loaded");
  EXPECT_EQ(create_error(device_.get(), {.compiler_library = "kernel32.dll"}),
            "could not compile D3D11 YUV shader: kernel32.dll could not be loaded")
      << "a library without the compiler's function";
}

TEST_F(D3D11YuvProcessorCreation, RepeatsWhatTheCompilerSays) {
  const ShaderCompiler compiler(ShaderSource{}.compiler_library);
  std::string error;
  EXPECT_EQ(compiler.compile("[numthreads(1, 1, 1)] void luma() { nonsense; }", "luma", error), nullptr);
  EXPECT_EQ(error.find("could not compile D3D11 YUV shader: "), 0U) << error;
  EXPECT_NE(error.find("nonsense"), std::string::npos) << error;
  EXPECT_NE(error.back(), '\n');
  EXPECT_NE(error.back(), '\0');
}

struct Fault {
  const char* method;
  int first_call, last_call;
  const char* message;
};

TEST_F(D3D11YuvProcessorCreation, NamesEveryStepThatFails) {
  constexpr HRESULT out_of_memory = E_OUTOFMEMORY;
  const Fault faults[] = {
      {"CreateComputeShader", 1, 2, "D3D11 YUV shader creation failed (HRESULT 0x8007000e)"},
      {"CreateBuffer", 1, 9, "D3D11 YUV data upload failed (HRESULT 0x8007000e)"},
      {"CreateShaderResourceView", 1, 9, "D3D11 YUV data view failed (HRESULT 0x8007000e)"},
      {"CreateBuffer", 10, 10, "D3D11 YUV parameters failed (HRESULT 0x8007000e)"},
      {"CreateTexture2D", 1, 2, "could not create shader-readable D3D11 YUV textures"},
      {"CreateShaderResourceView", 10, 13, "could not create D3D11 YUV plane views"},
      {"CreateTexture2D", 3, 3, "could not create the D3D11 YUV shader output texture"},
      {"CreateUnorderedAccessView", 1, 2, "D3D11 YUV shader output plane views failed (HRESULT 0x8007000e)"},
      {"CreateTexture2D", 4, 4, "could not allocate a probe D3D11 encoder surface: Cannot allocate memory"},
      // One more call of each kind than there are.
      {"CreateComputeShader", 3, 3, ""},
      {"CreateBuffer", 11, 11, ""},
      {"CreateShaderResourceView", 14, 14, ""},
      {"CreateTexture2D", 5, 5, ""},
      {"CreateUnorderedAccessView", 3, 3, ""},
  };
  ID3D11Device& real = *device_of(*device_);
  FaultyDevice faulty(share_com_object(&real));
  const BufferRefPtr device = wrap_gpu_device(faulty);
  const ULONG before = references(real);
  for (const Fault& fault : faults)
    for (int call = fault.first_call; call <= fault.last_call; ++call) {
      faulty.fail_at(fault.method, call, out_of_memory);
      EXPECT_EQ(create_error(device.get(), small_shaders), fault.message) << fault.method << " " << call;
      EXPECT_EQ(references(real), before) << "something was left behind";
    }
}

// What devices below feature level 11_0 answer; the translation of Direct3D that tests run on takes any
// shader.
TEST_F(D3D11YuvProcessorCreation, NeedsADeviceWithComputeShaders) {
  ID3D11Device& real = *device_of(*device_);
  FaultyDevice faulty(share_com_object(&real));
  const BufferRefPtr device = wrap_gpu_device(faulty);
  faulty.fail_at("CreateComputeShader", 1, E_INVALIDARG);
  EXPECT_EQ(create_error(device.get()), "D3D11 YUV shader creation failed (HRESULT 0x80070057)");
}

TEST_F(D3D11YuvProcessorCreation, NeedsADeviceThatIsStillThere) {
  FaultyDevice faulty(share_com_object(device_of(*device_)));
  const BufferRefPtr device = wrap_gpu_device(faulty);
  faulty.remove(DXGI_ERROR_DEVICE_HUNG);
  EXPECT_EQ(create_error(device.get()), "D3D11 YUV device check failed (HRESULT 0x887a0006)");
}

TEST_F(D3D11YuvProcessorCreation, ChecksTheFormatOfTheEncodersSurfaces) {
  ID3D11Device& real = *device_of(*device_);
  FaultyDevice faulty(share_com_object(&real));
  const BufferRefPtr device = wrap_gpu_device(faulty);
  faulty.change_format_at(4, DXGI_FORMAT_NV12);
  EXPECT_EQ(create_error(device.get()), "D3D11 encoder surface validation failed (HRESULT 0x80070057)");
}

TEST_F(D3D11YuvProcessorCreation, SaysThatThereIsNoMemoryForTheEncodersFrames) {
  FaultyDevice faulty(share_com_object(device_of(*device_)));
  const BufferRefPtr device = wrap_gpu_device(faulty);
  // The last view is what comes before the frames.
  std::optional<AllocationLimit> shortage;
  faulty.act_at("CreateUnorderedAccessView", 2, [&shortage] { shortage.emplace(no_memory); });
  const std::string error = create_error(device.get());
  shortage.reset();
  EXPECT_EQ(error, "could not allocate NVENC D3D11 frame context");
}

TEST_F(D3D11YuvProcessorCreation, RepeatsWhyTheEncodersFramesCannotBeMade) {
  FaultyDevice faulty(share_com_object(device_of(*device_)));
  const BufferRefPtr device = wrap_gpu_device(faulty);
  // Larger than FFmpeg's frames may be, while no texture has to be.
  faulty.shrink_textures(64);
  EXPECT_EQ(create_error(device.get(), maps_, {{64, 64}, {20000, 20000}, OutputLayout::mono_left}),
            "could not initialize D3D11 NVENC surface pool: Invalid argument");
}

TEST_F(D3D11YuvProcessorCreation, IsWhatTheSystemsFactoryDoes) {
  std::string error;
  const auto processor = GpuYuvProcessor::create(device_.get(), *make_tables(maps_, geometry.source),
                                                 geometry, BitDepth::eight, error);
  ASSERT_NE(processor, nullptr) << error;
  const auto& frames = *reinterpret_cast<AVHWFramesContext*>(processor->encoder_frames()->data);
  EXPECT_EQ(frames.format, AV_PIX_FMT_D3D11);
  EXPECT_EQ(frames.sw_format, AV_PIX_FMT_NV12);
  EXPECT_EQ(frames.width, 64);
  EXPECT_EQ(frames.height, 32);
  EXPECT_EQ(frames.initial_pool_size, 0);
  EXPECT_EQ(device_of(*frames.device_ref), device_of(*device_)) << "on the decoders' device";
}

}  // namespace
}  // namespace veyrin::test
