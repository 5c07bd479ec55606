// Direct calls of the interface, as FFmpeg never makes them.
#include <ffnvcodec/nvEncodeAPI.h>
#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <optional>

#include "tests/simulated_nvenc/encoder_session.h"

namespace veyrin::test {
namespace {

/// A session on a device that is never used.
class EncoderInterface : public EncoderSession {
 protected:
  EncoderInterface() { EXPECT_EQ(open(NV_ENC_DEVICE_TYPE_CUDA, &device_), NV_ENC_SUCCESS); }

  void create_buffers() {
    NV_ENC_CREATE_INPUT_BUFFER input{};
    input.version = NV_ENC_CREATE_INPUT_BUFFER_VER;
    input.width = width;
    input.height = height;
    input.bufferFmt = NV_ENC_BUFFER_FORMAT_NV12;
    ASSERT_EQ(api_.nvEncCreateInputBuffer(session_, &input), NV_ENC_SUCCESS);
    input_ = input.inputBuffer;
    NV_ENC_CREATE_BITSTREAM_BUFFER output{};
    output.version = NV_ENC_CREATE_BITSTREAM_BUFFER_VER;
    ASSERT_EQ(api_.nvEncCreateBitstreamBuffer(session_, &output), NV_ENC_SUCCESS);
    output_ = output.bitstreamBuffer;
  }

  [[nodiscard]] NV_ENC_PIC_PARAMS picture() const {
    NV_ENC_PIC_PARAMS parameters{};
    parameters.version = NV_ENC_PIC_PARAMS_VER;
    parameters.inputBuffer = input_;
    parameters.outputBitstream = output_;
    parameters.bufferFmt = NV_ENC_BUFFER_FORMAT_NV12;
    parameters.inputWidth = width;
    parameters.inputHeight = height;
    parameters.pictureStruct = NV_ENC_PIC_STRUCT_FRAME;
    return parameters;
  }

  NVENCSTATUS fetch() {
    NV_ENC_LOCK_BITSTREAM parameters{};
    parameters.version = NV_ENC_LOCK_BITSTREAM_VER;
    parameters.outputBitstream = output_;
    const NVENCSTATUS status = api_.nvEncLockBitstream(session_, &parameters);
    fetched_ = parameters.bitstreamSizeInBytes;
    return status == NV_ENC_SUCCESS ? api_.nvEncUnlockBitstream(session_, output_) : status;
  }

  int device_ = 0;
  void* input_ = nullptr;
  void* output_ = nullptr;
  std::uint32_t fetched_ = 0;
};

TEST_F(EncoderInterface, EncodesAPicture) {
  ASSERT_EQ(initialize(), NV_ENC_SUCCESS);
  create_buffers();
  NV_ENC_PIC_PARAMS parameters = picture();
  ASSERT_EQ(api_.nvEncEncodePicture(session_, &parameters), NV_ENC_SUCCESS);
  EXPECT_EQ(fetch(), NV_ENC_SUCCESS);
  EXPECT_GT(fetched_, 0U);
}

TEST_F(EncoderInterface, RefusesOtherVersions) {
  NV_ENCODE_API_FUNCTION_LIST functions{};
  functions.version = NV_ENCODE_API_FUNCTION_LIST_VER - 1;
  EXPECT_EQ(create_instance(functions), NV_ENC_ERR_INVALID_VERSION);
  NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS older = opening(NV_ENC_DEVICE_TYPE_CUDA, &device_);
  older.apiVersion = 12 | 1 << 24;
  void* session = nullptr;
  EXPECT_EQ(api_.nvEncOpenEncodeSessionEx(&older, &session), NV_ENC_ERR_INVALID_VERSION);
  NV_ENC_CAPS_PARAM question{};
  question.version = 0x7101000c;
  question.capsToQuery = NV_ENC_CAPS_WIDTH_MAX;
  int answer = 0;
  EXPECT_EQ(api_.nvEncGetEncodeCaps(session_, NV_ENC_CODEC_HEVC_GUID, &question, &answer),
            NV_ENC_ERR_INVALID_VERSION);
  change_ = [](NV_ENC_INITIALIZE_PARAMS& parameters, NV_ENC_CONFIG&) { --parameters.version; };
  EXPECT_EQ(initialize(), NV_ENC_ERR_INVALID_VERSION);
  change_ = [](NV_ENC_INITIALIZE_PARAMS&, NV_ENC_CONFIG& configuration) { configuration.version = 0; };
  EXPECT_EQ(initialize(), NV_ENC_ERR_INVALID_VERSION);
  change_ = nullptr;
  ASSERT_EQ(initialize(), NV_ENC_SUCCESS);
  create_buffers();
  NV_ENC_PIC_PARAMS parameters = picture();
  parameters.version = 0xf106000c;
  EXPECT_EQ(api_.nvEncEncodePicture(session_, &parameters), NV_ENC_ERR_INVALID_VERSION);
  EXPECT_STREQ(api_.nvEncGetLastErrorString(session_), "picture parameters: wrong version word");
}

TEST_F(EncoderInterface, RefusesCallsOutOfOrder) {
  NV_ENC_CREATE_BITSTREAM_BUFFER early{};
  early.version = NV_ENC_CREATE_BITSTREAM_BUFFER_VER;
  EXPECT_EQ(api_.nvEncCreateBitstreamBuffer(session_, &early), NV_ENC_ERR_ENCODER_NOT_INITIALIZED);
  NV_ENC_PIC_PARAMS parameters = picture();
  EXPECT_EQ(api_.nvEncEncodePicture(session_, &parameters), NV_ENC_ERR_ENCODER_NOT_INITIALIZED);

  ASSERT_EQ(initialize(), NV_ENC_SUCCESS);
  EXPECT_EQ(api_.nvEncInitializeEncoder(session_, &parameters_), NV_ENC_ERR_INVALID_CALL);
  create_buffers();
  EXPECT_EQ(fetch(), NV_ENC_ERR_LOCK_BUSY) << "nothing was encoded";
  EXPECT_EQ(api_.nvEncUnlockInputBuffer(session_, input_), NV_ENC_ERR_INVALID_CALL);

  NV_ENC_LOCK_INPUT_BUFFER lock{};
  lock.version = NV_ENC_LOCK_INPUT_BUFFER_VER;
  lock.inputBuffer = input_;
  ASSERT_EQ(api_.nvEncLockInputBuffer(session_, &lock), NV_ENC_SUCCESS);
  EXPECT_GT(lock.pitch, width) << "callers that ignore the pitch are to be found out";
  parameters = picture();
  EXPECT_EQ(api_.nvEncEncodePicture(session_, &parameters), NV_ENC_ERR_LOCK_BUSY);
  ASSERT_EQ(api_.nvEncUnlockInputBuffer(session_, input_), NV_ENC_SUCCESS);
  ASSERT_EQ(api_.nvEncEncodePicture(session_, &parameters), NV_ENC_SUCCESS);
  EXPECT_EQ(api_.nvEncEncodePicture(session_, &parameters), NV_ENC_ERR_INVALID_CALL) << "not fetched";

  NV_ENC_PIC_PARAMS end{};
  end.version = NV_ENC_PIC_PARAMS_VER;
  end.encodePicFlags = NV_ENC_PIC_FLAG_EOS;
  EXPECT_EQ(api_.nvEncEncodePicture(session_, &end), NV_ENC_SUCCESS);
  EXPECT_EQ(api_.nvEncEncodePicture(session_, &end), NV_ENC_SUCCESS) << "callers end more than once";
  EXPECT_EQ(fetch(), NV_ENC_SUCCESS);
  EXPECT_EQ(api_.nvEncEncodePicture(session_, &parameters), NV_ENC_ERR_INVALID_CALL) << "after the end";
}

TEST_F(EncoderInterface, EndsASessionThatWasNeverInitialized) {
  NV_ENC_PIC_PARAMS end{};
  end.version = NV_ENC_PIC_PARAMS_VER;
  end.encodePicFlags = NV_ENC_PIC_FLAG_EOS;
  EXPECT_EQ(api_.nvEncEncodePicture(session_, &end), NV_ENC_SUCCESS);
}

TEST_F(EncoderInterface, GivesParameterSetsOnlyWhereTheyFit) {
  ASSERT_EQ(initialize(), NV_ENC_SUCCESS);
  std::array<std::uint8_t, NV_MAX_SEQ_HDR_LEN> room{};
  std::uint32_t size = 0;
  NV_ENC_SEQUENCE_PARAM_PAYLOAD parameters{};
  parameters.version = NV_ENC_SEQUENCE_PARAM_PAYLOAD_VER;
  parameters.spsppsBuffer = room.data();
  parameters.outSPSPPSPayloadSize = &size;
  parameters.inBufferSize = 16;
  EXPECT_EQ(api_.nvEncGetSequenceParams(session_, &parameters), NV_ENC_ERR_NOT_ENOUGH_BUFFER);
  parameters.inBufferSize = room.size();
  EXPECT_EQ(api_.nvEncGetSequenceParams(session_, &parameters), NV_ENC_SUCCESS);
  EXPECT_GT(size, 16U);
}

TEST_F(EncoderInterface, KnowsNoTexturesOfAnotherKindOfDevice) {
  ASSERT_EQ(initialize(), NV_ENC_SUCCESS);
  NV_ENC_REGISTER_RESOURCE resource{};
  resource.version = NV_ENC_REGISTER_RESOURCE_VER;
  resource.resourceType = NV_ENC_INPUT_RESOURCE_TYPE_DIRECTX;
  EXPECT_EQ(api_.nvEncRegisterResource(session_, &resource), NV_ENC_ERR_UNIMPLEMENTED);
}

}  // namespace
}  // namespace veyrin::test
