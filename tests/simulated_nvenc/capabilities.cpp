#include "tests/simulated_nvenc/capabilities.h"

#include <algorithm>
#include <array>

#include "tests/simulated_nvenc/refusal.h"

namespace veyrin::simulated_nvenc {
namespace {

constexpr int smallest_side = 32;
constexpr int h264_largest_side = 4096;
constexpr int hevc_b_frames = 4;

}  // namespace

std::vector<GUID> codecs(const Settings& settings) {
  std::vector<GUID> offered;
  if (settings.h264) offered.push_back(NV_ENC_CODEC_H264_GUID);
  if (settings.hevc) offered.push_back(NV_ENC_CODEC_HEVC_GUID);
  return offered;
}

void require_codec(const Settings& settings, const GUID& codec) {
  const auto offered = codecs(settings);
  require(std::ranges::any_of(offered, [&](const GUID& one) { return same_guid(one, codec); }),
          NV_ENC_ERR_INVALID_PARAM, "this GPU does not have the codec");
}

int max_b_frames(const GUID& codec) {
  // The H.264 encoder behind this driver cannot close a group of B-frames.
  return same_guid(codec, NV_ENC_CODEC_HEVC_GUID) ? hevc_b_frames : 0;
}

int capability(const Settings& settings, const GUID& codec, NV_ENC_CAPS question) {
  require_codec(settings, codec);
  const bool hevc = same_guid(codec, NV_ENC_CODEC_HEVC_GUID);
  switch (question) {
    case NV_ENC_CAPS_NUM_MAX_BFRAMES:
      return max_b_frames(codec);
    case NV_ENC_CAPS_SUPPORTED_RATECONTROL_MODES:
      return NV_ENC_PARAMS_RC_VBR | NV_ENC_PARAMS_RC_CBR;
    case NV_ENC_CAPS_SUPPORT_CABAC:
      return hevc ? 0 : 1;
    case NV_ENC_CAPS_WIDTH_MAX:
      return hevc ? settings.width_max : std::min(settings.width_max, h264_largest_side);
    case NV_ENC_CAPS_HEIGHT_MAX:
      return hevc ? settings.height_max : std::min(settings.height_max, h264_largest_side);
    case NV_ENC_CAPS_WIDTH_MIN:
    case NV_ENC_CAPS_HEIGHT_MIN:
      return smallest_side;
    case NV_ENC_CAPS_SUPPORT_10BIT_ENCODE:
      return hevc && settings.ten_bit ? 1 : 0;
    case NV_ENC_CAPS_SUPPORT_MVHEVC_ENCODE:
      return hevc && settings.mv_hevc ? 1 : 0;
    case NV_ENC_CAPS_SUPPORT_LOOKAHEAD:
    case NV_ENC_CAPS_SUPPORT_TEMPORAL_AQ:
    case NV_ENC_CAPS_SUPPORT_CUSTOM_VBV_BUF_SIZE:
    case NV_ENC_CAPS_SUPPORT_TEMPORAL_FILTER:
    case NV_ENC_CAPS_NUM_ENCODER_ENGINES:
      return 1;
    default:
      return 0;
  }
}

void require_preset(const GUID& preset, NV_ENC_TUNING_INFO tuning) {
  const std::array known{NV_ENC_PRESET_P1_GUID, NV_ENC_PRESET_P2_GUID, NV_ENC_PRESET_P3_GUID,
                         NV_ENC_PRESET_P4_GUID, NV_ENC_PRESET_P5_GUID, NV_ENC_PRESET_P6_GUID,
                         NV_ENC_PRESET_P7_GUID};
  require(std::ranges::any_of(known, [&](const GUID& one) { return same_guid(one, preset); }),
          NV_ENC_ERR_UNSUPPORTED_PARAM, "unknown preset");
  require(tuning > NV_ENC_TUNING_INFO_UNDEFINED && tuning < NV_ENC_TUNING_INFO_COUNT,
          NV_ENC_ERR_INVALID_PARAM, "unknown tuning");
}

NV_ENC_CONFIG preset_configuration(const Settings& settings, const GUID& codec, const GUID& preset,
                                   NV_ENC_TUNING_INFO tuning) {
  require_codec(settings, codec);
  require_preset(preset, tuning);
  constexpr std::uint32_t period = 250;
  constexpr std::uint32_t bits_per_second = 5'000'000;
  constexpr std::uint32_t unspecified_format = 5;
  NV_ENC_CONFIG configuration{};
  configuration.version = NV_ENC_CONFIG_VER;
  configuration.profileGUID = NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID;
  configuration.gopLength = period;
  configuration.frameIntervalP = 1 + std::min(settings.b_frames, max_b_frames(codec));
  configuration.frameFieldMode = NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME;
  configuration.rcParams.version = NV_ENC_RC_PARAMS_VER;
  configuration.rcParams.rateControlMode = NV_ENC_PARAMS_RC_VBR;
  configuration.rcParams.averageBitRate = bits_per_second;
  const auto fill = [&](auto& codec_part, auto& usability) {
    codec_part.idrPeriod = period;
    codec_part.chromaFormatIDC = 1;
    codec_part.inputBitDepth = NV_ENC_BIT_DEPTH_8;
    codec_part.outputBitDepth = NV_ENC_BIT_DEPTH_8;
    usability.videoFormat = static_cast<NV_ENC_VUI_VIDEO_FORMAT>(unspecified_format);
    usability.colourPrimaries = NV_ENC_VUI_COLOR_PRIMARIES_UNSPECIFIED;
    usability.transferCharacteristics = NV_ENC_VUI_TRANSFER_CHARACTERISTIC_UNSPECIFIED;
    usability.colourMatrix = NV_ENC_VUI_MATRIX_COEFFS_UNSPECIFIED;
  };
  auto& parts = configuration.encodeCodecConfig;
  if (same_guid(codec, NV_ENC_CODEC_HEVC_GUID)) {
    fill(parts.hevcConfig, parts.hevcConfig.hevcVUIParameters);
  } else {
    fill(parts.h264Config, parts.h264Config.h264VUIParameters);
  }
  return configuration;
}

}  // namespace veyrin::simulated_nvenc
