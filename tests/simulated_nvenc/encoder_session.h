// Test fixture: an encode session that uses the driver's interface without FFmpeg.
#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include <cstdint>
#include <memory>

#include "common/platform/program.h"
#include "decode/nvenc_probe.h"
#include "tests/simulated_nvenc/driver_test.h"

namespace veyrin::test {

/// The encoder library and, once `open` has succeeded, one session, which ends with the test.
class EncoderSession : public SimulatedDriver {
 protected:
  EncoderSession() {
    api_.version = NV_ENCODE_API_FUNCTION_LIST_VER;
    EXPECT_EQ(create_instance(api_), NV_ENC_SUCCESS);
  }
  ~EncoderSession() override {
    if (session_ != nullptr) api_.nvEncDestroyEncoder(session_);
  }

  NVENCSTATUS create_instance(NV_ENCODE_API_FUNCTION_LIST& functions) {
    return library_->function<NVENCSTATUS(NV_ENCODE_API_FUNCTION_LIST*)>("NvEncodeAPICreateInstance")(
        &functions);
  }

  static NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS opening(NV_ENC_DEVICE_TYPE type, void* device) {
    NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS parameters{};
    parameters.version = NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS_VER;
    parameters.apiVersion = NVENCAPI_VERSION;
    parameters.deviceType = type;
    parameters.device = device;
    return parameters;
  }

  NVENCSTATUS open(NV_ENC_DEVICE_TYPE type, void* device) {
    NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS parameters = opening(type, device);
    return api_.nvEncOpenEncodeSessionEx(&parameters, &session_);
  }

  /// For HEVC without B-frames, or what `change_` makes of it.
  NVENCSTATUS initialize() {
    NV_ENC_PRESET_CONFIG preset{};
    preset.version = NV_ENC_PRESET_CONFIG_VER;
    preset.presetCfg.version = NV_ENC_CONFIG_VER;
    const NVENCSTATUS status = api_.nvEncGetEncodePresetConfigEx(
        session_, NV_ENC_CODEC_HEVC_GUID, NV_ENC_PRESET_P4_GUID, NV_ENC_TUNING_INFO_HIGH_QUALITY, &preset);
    if (status != NV_ENC_SUCCESS) return status;
    configuration_ = preset.presetCfg;
    configuration_.frameIntervalP = 1;
    parameters_.version = NV_ENC_INITIALIZE_PARAMS_VER;
    parameters_.encodeGUID = NV_ENC_CODEC_HEVC_GUID;
    parameters_.presetGUID = NV_ENC_PRESET_P4_GUID;
    parameters_.tuningInfo = NV_ENC_TUNING_INFO_HIGH_QUALITY;
    parameters_.encodeWidth = width;
    parameters_.encodeHeight = height;
    parameters_.frameRateNum = 30;
    parameters_.frameRateDen = 1;
    parameters_.enablePTD = 1;
    parameters_.encodeConfig = &configuration_;
    if (change_) change_(parameters_, configuration_);
    return api_.nvEncInitializeEncoder(session_, &parameters_);
  }

  static constexpr std::uint32_t width = 64;
  static constexpr std::uint32_t height = 64;
  std::unique_ptr<platform::SharedLibrary> library_ =
      platform::SharedLibrary::load(installed_nvenc_libraries().encoder);
  NV_ENCODE_API_FUNCTION_LIST api_{};
  void* session_ = nullptr;
  void (*change_)(NV_ENC_INITIALIZE_PARAMS&, NV_ENC_CONFIG&) = nullptr;
  NV_ENC_CONFIG configuration_{};
  NV_ENC_INITIALIZE_PARAMS parameters_{};
};

}  // namespace veyrin::test
