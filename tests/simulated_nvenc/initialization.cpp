#include "tests/simulated_nvenc/initialization.h"

#include <algorithm>
#include <sstream>

#include "tests/simulated_nvenc/capabilities.h"
#include "tests/simulated_nvenc/refusal.h"

namespace veyrin::simulated_nvenc {
namespace {

/// What two-view encoding excludes.
void require_two_views_possible(const NV_ENC_INITIALIZE_PARAMS& parameters, const Settings& settings) {
  const NV_ENC_CONFIG& configuration = *parameters.encodeConfig;
  const NV_ENC_CONFIG_HEVC& hevc = configuration.encodeCodecConfig.hevcConfig;
  const auto refuse_if = [](bool wrong, const char* reason) {
    require(!wrong, NV_ENC_ERR_UNSUPPORTED_PARAM, reason);
  };
  refuse_if(!settings.mv_hevc, "this GPU does not encode two views");
  refuse_if(hevc.numViews > 2, "more than two views");
  refuse_if(!settings.mv_hevc_ten_bit && hevc.outputBitDepth == NV_ENC_BIT_DEPTH_10,
            "this GPU does not encode two views in 10 bits");
  refuse_if(parameters.tuningInfo != NV_ENC_TUNING_INFO_HIGH_QUALITY, "two views and another tuning");
  refuse_if(configuration.rcParams.enableLookahead != 0, "two views and lookahead");
  refuse_if(configuration.rcParams.multiPass != NV_ENC_MULTI_PASS_DISABLED, "two views and two passes");
  refuse_if(hevc.tfLevel != NV_ENC_TEMPORAL_FILTER_LEVEL_0, "two views and a temporal filter");
  refuse_if(parameters.splitEncodeMode != NV_ENC_SPLIT_AUTO_MODE &&
                parameters.splitEncodeMode != NV_ENC_SPLIT_DISABLE_MODE,
            "two views and forced split encoding");
  refuse_if(parameters.enableUniDirectionalB != 0, "two views and unidirectional B-frames");
  refuse_if(hevc.enableLTR != 0, "two views and long-term references");
  refuse_if(hevc.enableAlphaLayerEncoding != 0, "two views and an alpha layer");
}

void require_depth(const NV_ENC_CONFIG& configuration, const NV_ENC_CONFIG_HEVC& hevc,
                   const Settings& settings) {
  const bool ten_bit = hevc.outputBitDepth == NV_ENC_BIT_DEPTH_10;
  require(ten_bit || hevc.outputBitDepth == NV_ENC_BIT_DEPTH_8, NV_ENC_ERR_INVALID_PARAM, "output bit depth");
  require(hevc.inputBitDepth == NV_ENC_BIT_DEPTH_8 || hevc.inputBitDepth == NV_ENC_BIT_DEPTH_10,
          NV_ENC_ERR_INVALID_PARAM, "input bit depth");
  require(!ten_bit || settings.ten_bit, NV_ENC_ERR_UNSUPPORTED_PARAM, "this GPU does not encode 10 bits");
  const GUID& profile = configuration.profileGUID;
  const GUID& expected = ten_bit ? NV_ENC_HEVC_PROFILE_MAIN10_GUID : NV_ENC_HEVC_PROFILE_MAIN_GUID;
  require(same_guid(profile, expected) || same_guid(profile, NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID),
          NV_ENC_ERR_UNSUPPORTED_PARAM, "the profile does not go with the bit depth");
}

RateSettings rate(const NV_ENC_RC_PARAMS& control) {
  RateSettings settings;
  settings.qp = static_cast<int>(control.constQP.qpInterP);
  settings.bits_per_second = control.averageBitRate;
  if (control.rateControlMode == NV_ENC_PARAMS_RC_CONSTQP) {
    settings.mode = RateMode::constant_qp;
  } else if (control.rateControlMode == NV_ENC_PARAMS_RC_VBR &&
             (control.targetQuality != 0 || control.targetQualityLSB != 0)) {
    settings.mode = RateMode::constant_quality;
    settings.quality = control.targetQuality + control.targetQualityLSB / 256.0;
  } else {
    require(control.averageBitRate > 0, NV_ENC_ERR_INVALID_PARAM, "no bit rate");
  }
  return settings;
}

ColorSettings colors(const NV_ENC_CONFIG_H264_VUI_PARAMETERS& usability) {
  ColorSettings settings;
  settings.signal_described = usability.videoSignalTypePresentFlag != 0;
  settings.full_range = usability.videoFullRangeFlag != 0;
  settings.colors_described = usability.colourDescriptionPresentFlag != 0;
  settings.primaries = static_cast<int>(usability.colourPrimaries);
  settings.transfer = static_cast<int>(usability.transferCharacteristics);
  settings.matrix = static_cast<int>(usability.colourMatrix);
  if (usability.chromaSampleLocationFlag != 0) {
    settings.chroma_location = static_cast<int>(usability.chromaSampleLocationTop);
  }
  return settings;
}

template <typename CodecPart>
void take_common(const CodecPart& part, const NV_ENC_CONFIG_H264_VUI_PARAMETERS& usability,
                 SessionSetup& setup) {
  require(part.chromaFormatIDC == 1, NV_ENC_ERR_UNSUPPORTED_PARAM, "only 4:2:0 is encoded");
  setup.stream.colors = colors(usability);
  if (part.idrPeriod != 0) setup.stream.idr_period = part.idrPeriod;
  if (part.disableSPSPPS != 0) {
    setup.headers = HeaderPlacement::never;
  } else if (part.repeatSPSPPS != 0) {
    setup.headers = HeaderPlacement::every_idr;
  }
}

void take_hevc(const NV_ENC_INITIALIZE_PARAMS& parameters, const Settings& settings, SessionSetup& setup) {
  const NV_ENC_CONFIG_HEVC& hevc = parameters.encodeConfig->encodeCodecConfig.hevcConfig;
  require_depth(*parameters.encodeConfig, hevc, settings);
  setup.stream.codec = Codec::hevc;
  setup.stream.bit_depth = hevc.outputBitDepth == NV_ENC_BIT_DEPTH_10 ? 10 : 8;
  take_common(hevc, hevc.hevcVUIParameters, setup);
  if (hevc.enableMVHEVC != 0) {
    require_two_views_possible(parameters, settings);
    setup.stream.views = 2;
    setup.display_information = hevc.outputHevc3DReferenceDisplayInfo != 0;
  }
}

void take_h264(const NV_ENC_CONFIG& configuration, SessionSetup& setup) {
  const NV_ENC_CONFIG_H264& h264 = configuration.encodeCodecConfig.h264Config;
  setup.stream.codec = Codec::h264;
  setup.stream.high_profile = same_guid(configuration.profileGUID, NV_ENC_H264_PROFILE_HIGH_GUID) ||
                              same_guid(configuration.profileGUID, NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID);
  require(h264.outputBitDepth == NV_ENC_BIT_DEPTH_8 && h264.inputBitDepth == NV_ENC_BIT_DEPTH_8,
          NV_ENC_ERR_UNSUPPORTED_PARAM, "H.264 is encoded in 8 bits only");
  take_common(h264, h264.h264VUIParameters, setup);
}

}  // namespace

SessionSetup accept(const NV_ENC_INITIALIZE_PARAMS& parameters, const Settings& settings) {
  require_version(parameters.version, NV_ENC_INITIALIZE_PARAMS_VER, "initialize parameters");
  require_codec(settings, parameters.encodeGUID);
  require_preset(parameters.presetGUID, parameters.tuningInfo);
  require(parameters.encodeConfig != nullptr, NV_ENC_ERR_INVALID_PTR, "no configuration");
  const NV_ENC_CONFIG& configuration = *parameters.encodeConfig;
  require_version(configuration.version, NV_ENC_CONFIG_VER, "configuration");
  require_version(configuration.rcParams.version, NV_ENC_RC_PARAMS_VER, "rate control parameters");
  require(parameters.enablePTD == 1, NV_ENC_ERR_UNSUPPORTED_PARAM, "picture types are decided by the driver");
  require(parameters.enableEncodeAsync == 0, NV_ENC_ERR_UNSUPPORTED_PARAM, "no asynchronous mode here");

  const auto limit = [&](NV_ENC_CAPS question) {
    return static_cast<std::uint32_t>(capability(settings, parameters.encodeGUID, question));
  };
  require(parameters.encodeWidth >= limit(NV_ENC_CAPS_WIDTH_MIN) &&
              parameters.encodeWidth <= limit(NV_ENC_CAPS_WIDTH_MAX) &&
              parameters.encodeHeight >= limit(NV_ENC_CAPS_HEIGHT_MIN) &&
              parameters.encodeHeight <= limit(NV_ENC_CAPS_HEIGHT_MAX),
          NV_ENC_ERR_INVALID_PARAM, "the picture's size is out of range");
  require(parameters.frameRateNum > 0 && parameters.frameRateDen > 0, NV_ENC_ERR_INVALID_PARAM, "frame rate");
  const bool only_key_pictures = configuration.frameIntervalP == 0 && configuration.gopLength == 1;
  require((configuration.frameIntervalP >= 1 || only_key_pictures) &&
              configuration.frameIntervalP <= 1 + max_b_frames(parameters.encodeGUID),
          NV_ENC_ERR_UNSUPPORTED_PARAM, "too many B-frames");

  SessionSetup setup;
  StreamSettings& stream = setup.stream;
  stream.width = static_cast<int>(parameters.encodeWidth);
  stream.height = static_cast<int>(parameters.encodeHeight);
  stream.rate_numerator = parameters.frameRateNum;
  stream.rate_denominator = parameters.frameRateDen;
  stream.b_frames = std::max(0, configuration.frameIntervalP - 1);
  stream.idr_period = configuration.gopLength == NVENC_INFINITE_GOPLENGTH ? 0 : configuration.gopLength;
  stream.rate = rate(configuration.rcParams);
  if (same_guid(parameters.encodeGUID, NV_ENC_CODEC_HEVC_GUID)) {
    take_hevc(parameters, settings, setup);
  } else {
    take_h264(configuration, setup);
  }
  if (stream.idr_period == NVENC_INFINITE_GOPLENGTH) stream.idr_period = 0;
  require(stream.idr_period == 0 || stream.idr_period > static_cast<std::uint32_t>(stream.b_frames),
          NV_ENC_ERR_INVALID_PARAM, "the group of pictures is shorter than its B-frames");
  return setup;
}

std::string description(const NV_ENC_INITIALIZE_PARAMS& parameters, const SessionSetup& setup) {
  const StreamSettings& stream = setup.stream;
  std::ostringstream line;
  line << "initialize codec=" << (stream.codec == Codec::hevc ? "hevc" : "h264") << " views=" << stream.views
       << " depth=" << stream.bit_depth << " size=" << stream.width << 'x' << stream.height
       << " rate=" << stream.rate_numerator << '/' << stream.rate_denominator << " gop=" << stream.idr_period
       << " b_frames=" << stream.b_frames << " bitrate=" << stream.rate.bits_per_second
       << " tuning=" << parameters.tuningInfo
       << " headers=" << (setup.headers == HeaderPlacement::never ? "apart" : "in-band");
  if (stream.codec == Codec::hevc) {
    line << " tier=" << parameters.encodeConfig->encodeCodecConfig.hevcConfig.tier;
  }
  return line.str();
}

}  // namespace veyrin::simulated_nvenc
