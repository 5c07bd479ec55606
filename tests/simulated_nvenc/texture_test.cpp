// Input pictures in Direct3D 11 textures.
#include <ffnvcodec/nvEncodeAPI.h>
#include <gmock/gmock.h>

#include "tests/simulated_nvenc/clips.h"
#include "tests/simulated_nvenc/encoder_session.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_d3d11va.h>
}

namespace veyrin::test {
namespace {

constexpr int moments = 12;

BufferRefPtr new_device() {
  AVBufferRef* device = nullptr;
  if (av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_D3D11VA, nullptr, nullptr, 0) < 0) return nullptr;
  return BufferRefPtr(device);
}

/// Textures for pictures of the request: slices of one texture array if a pool size is given, otherwise one
/// each.
BufferRefPtr new_surfaces(AVBufferRef& device, const EncodeRequest& request, int pool_size) {
  BufferRefPtr surfaces(av_hwframe_ctx_alloc(&device));
  auto& frames = *reinterpret_cast<AVHWFramesContext*>(surfaces->data);
  frames.format = AV_PIX_FMT_D3D11;
  frames.sw_format = request.format;
  frames.width = request.width;
  frames.height = request.height;
  frames.initial_pool_size = pool_size;
  if (av_hwframe_ctx_init(surfaces.get()) < 0) return nullptr;
  return surfaces;
}

struct TextureCase {
  const char* name;
  const char* encoder;
  AVCodecID codec;
  AVPixelFormat format;
  int pool_size;
};

std::ostream& operator<<(std::ostream& out, const TextureCase& one) {
  return out << one.name;
}

class Textures : public SimulatedDriver, public testing::WithParamInterface<TextureCase> {};

TEST_P(Textures, AreEncodedLikePicturesInMemory) {
  EncodeRequest request{.encoder = GetParam().encoder,
                        .format = GetParam().format,
                        .global_header = true,
                        .options = {{"b", "4M"}},
                        .pictures = one_view(moments)};
  const EncodeRun in_memory = encode(request);
  const BufferRefPtr device = new_device();
  ASSERT_NE(device, nullptr);
  const BufferRefPtr surfaces = new_surfaces(*device, request, GetParam().pool_size);
  ASSERT_NE(surfaces, nullptr);
  request.surfaces = surfaces.get();
  const EncodeRun run = encode(request);
  ASSERT_EQ(run.open_result, 0);
  ASSERT_EQ(run.encode_result, 0) << log();
  EXPECT_EQ(elementary_stream(run), elementary_stream(in_memory));
  const auto frames = decode_one_view(run, GetParam().codec);
  ASSERT_EQ(frames.size(), static_cast<std::size_t>(moments));
  const double psnr = luma_psnr(request, 0, frames);
  RecordProperty("psnr", std::to_string(psnr));
  EXPECT_GT(psnr, good_psnr);
  EXPECT_THAT(log(), testing::Not(testing::HasSubstr("ended with"))) << "textures stay registered";
}

INSTANTIATE_TEST_SUITE_P(
    Formats, Textures,
    testing::Values(TextureCase{"H264", "h264_nvenc", AV_CODEC_ID_H264, AV_PIX_FMT_NV12, 0},
                    TextureCase{"Hevc", "hevc_nvenc", AV_CODEC_ID_HEVC, AV_PIX_FMT_NV12, 0},
                    TextureCase{"HevcSlices", "hevc_nvenc", AV_CODEC_ID_HEVC, AV_PIX_FMT_NV12, 32},
                    TextureCase{"Hevc10", "hevc_nvenc", AV_CODEC_ID_HEVC, AV_PIX_FMT_P010, 0},
                    TextureCase{"Hevc10Slices", "hevc_nvenc", AV_CODEC_ID_HEVC, AV_PIX_FMT_P010, 32}),
    [](const auto& instance) { return instance.param.name; });

/// A session on a Direct3D 11 device, and textures of it.
class TextureInterface : public EncoderSession {
 protected:
  void SetUp() override {
    device_ = new_device();
    ASSERT_NE(device_, nullptr);
    surfaces_ = new_surfaces(*device_, request_, 2);
    ASSERT_NE(surfaces_, nullptr);
    surface_.reset(av_frame_alloc());
    ASSERT_EQ(av_hwframe_get_buffer(surfaces_.get(), surface_.get(), 0), 0);
    ASSERT_EQ(open(d3d11_device(*device_)), NV_ENC_SUCCESS);
    ASSERT_EQ(initialize(), NV_ENC_SUCCESS);
  }

  static void* d3d11_device(const AVBufferRef& device) {
    const auto& context = *reinterpret_cast<const AVHWDeviceContext*>(device.data);
    return static_cast<const AVD3D11VADeviceContext*>(context.hwctx)->device;
  }

  NVENCSTATUS open(void* device) { return EncoderSession::open(NV_ENC_DEVICE_TYPE_DIRECTX, device); }

  [[nodiscard]] NV_ENC_REGISTER_RESOURCE resource() const {
    NV_ENC_REGISTER_RESOURCE parameters{};
    parameters.version = NV_ENC_REGISTER_RESOURCE_VER;
    parameters.resourceType = NV_ENC_INPUT_RESOURCE_TYPE_DIRECTX;
    parameters.width = width;
    parameters.height = height;
    parameters.resourceToRegister = surface_->data[0];
    parameters.bufferFormat = NV_ENC_BUFFER_FORMAT_NV12;
    parameters.bufferUsage = NV_ENC_INPUT_IMAGE;
    return parameters;
  }

  NVENCSTATUS map(void* registered) {
    NV_ENC_MAP_INPUT_RESOURCE parameters{};
    parameters.version = NV_ENC_MAP_INPUT_RESOURCE_VER;
    parameters.registeredResource = registered;
    const NVENCSTATUS status = api_.nvEncMapInputResource(session_, &parameters);
    mapped_ = parameters.mappedResource;
    return status;
  }

  EncodeRequest request_{
      .format = AV_PIX_FMT_NV12, .width = width, .height = height, .options = {}, .pictures = {}};
  BufferRefPtr device_;
  BufferRefPtr surfaces_;
  FramePtr surface_;
  void* mapped_ = nullptr;
};

TEST_F(TextureInterface, RefusesWhatHoldsNoSuchPicture) {
  const auto refused = [this](void (*change)(NV_ENC_REGISTER_RESOURCE&)) {
    NV_ENC_REGISTER_RESOURCE parameters = resource();
    change(parameters);
    return api_.nvEncRegisterResource(session_, &parameters);
  };
  EXPECT_EQ(refused([](auto& wrong) { wrong.version = NV_ENC_MAP_INPUT_RESOURCE_VER; }),
            NV_ENC_ERR_INVALID_VERSION);
  EXPECT_EQ(refused([](auto& wrong) { wrong.resourceType = NV_ENC_INPUT_RESOURCE_TYPE_CUDADEVICEPTR; }),
            NV_ENC_ERR_UNIMPLEMENTED);
  EXPECT_EQ(refused([](auto& wrong) { wrong.bufferFormat = NV_ENC_BUFFER_FORMAT_YUV420_10BIT; }),
            NV_ENC_ERR_INVALID_PARAM);
  EXPECT_EQ(refused([](auto& wrong) { wrong.height /= 2; }), NV_ENC_ERR_INVALID_PARAM);
  EXPECT_EQ(refused([](auto& wrong) { wrong.subResourceIndex = 2; }), NV_ENC_ERR_INVALID_PARAM);
  EXPECT_EQ(refused([](auto& wrong) { wrong.resourceToRegister = nullptr; }), NV_ENC_ERR_INVALID_PTR);

  const BufferRefPtr other_device = new_device();
  const BufferRefPtr other_surfaces = new_surfaces(*other_device, request_, 1);
  const FramePtr foreign(av_frame_alloc());
  ASSERT_EQ(av_hwframe_get_buffer(other_surfaces.get(), foreign.get(), 0), 0);
  NV_ENC_REGISTER_RESOURCE parameters = resource();
  parameters.resourceToRegister = foreign->data[0];
  EXPECT_EQ(api_.nvEncRegisterResource(session_, &parameters), NV_ENC_ERR_INVALID_DEVICE);
}

TEST_F(TextureInterface, RefusesCallsOutOfOrder) {
  NV_ENC_REGISTER_RESOURCE registered = resource();
  ASSERT_EQ(api_.nvEncRegisterResource(session_, &registered), NV_ENC_SUCCESS);
  EXPECT_EQ(map(&registered), NV_ENC_ERR_RESOURCE_NOT_REGISTERED);
  EXPECT_EQ(api_.nvEncUnmapInputResource(session_, registered.registeredResource),
            NV_ENC_ERR_RESOURCE_NOT_MAPPED);
  ASSERT_EQ(map(registered.registeredResource), NV_ENC_SUCCESS);
  void* const mapped = mapped_;
  EXPECT_NE(mapped, registered.registeredResource);
  EXPECT_EQ(map(registered.registeredResource), NV_ENC_ERR_MAP_FAILED);
  EXPECT_EQ(api_.nvEncUnregisterResource(session_, registered.registeredResource), NV_ENC_ERR_INVALID_CALL);
  EXPECT_EQ(api_.nvEncUnmapInputResource(session_, mapped), NV_ENC_SUCCESS);
  EXPECT_EQ(api_.nvEncUnregisterResource(session_, registered.registeredResource), NV_ENC_SUCCESS);
  EXPECT_EQ(api_.nvEncUnregisterResource(session_, registered.registeredResource),
            NV_ENC_ERR_RESOURCE_NOT_REGISTERED);
}

TEST_F(TextureInterface, TellsOfTexturesLeftBehind) {
  NV_ENC_REGISTER_RESOURCE registered = resource();
  ASSERT_EQ(api_.nvEncRegisterResource(session_, &registered), NV_ENC_SUCCESS);
  ASSERT_EQ(api_.nvEncDestroyEncoder(std::exchange(session_, nullptr)), NV_ENC_SUCCESS);
  EXPECT_THAT(log(), testing::HasSubstr("ended with 1 registered textures"));
}

TEST_F(TextureInterface, OpensNothingOnWhatIsNoDevice) {
  void* const first = std::exchange(session_, nullptr);
  EXPECT_EQ(open(surface_->data[0]), NV_ENC_ERR_UNSUPPORTED_DEVICE) << "a texture is a COM object too";
  EXPECT_EQ(open(nullptr), NV_ENC_ERR_INVALID_DEVICE);
  session_ = first;
}

}  // namespace
}  // namespace veyrin::test
