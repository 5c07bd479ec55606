// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/x265_settings.h"

#include <algorithm>
#include <limits>
#include <thread>

#include "common/error_text.h"

namespace veyrin::two_view {
namespace {

constexpr int views = 2;

// By its name alone: x265 itself would also take its number.
[[nodiscard]] bool set_preset(const std::string& name, const x265_api& api, x265_param& parameters,
                              std::string& error) {
  std::string names;
  for (const char* const* known = x265_preset_names; *known != nullptr; ++known) {
    if (name == *known || (name.empty() && std::string(default_preset) == *known))
      return api.param_default_preset(&parameters, *known, nullptr) == 0 ||
             fail(error, "could not set x265's preset");
    names += (names.empty() ? "" : ", ") + std::string(*known);
  }
  return fail(error, "preset \"" + name + "\" is none of " + names);
}

void set_pictures(const Request& request, x265_param& parameters) {
  parameters.sourceWidth = static_cast<int>(request.width);
  parameters.sourceHeight = static_cast<int>(request.height);
  parameters.sourceBitDepth = static_cast<int>(request.bit_depth);
  parameters.internalCsp = X265_CSP_I420;
  parameters.fpsNum = request.rate_numerator;
  parameters.fpsDenom = request.rate_denominator;
  parameters.numViews = views;
  parameters.numLayers = views;  // which x265 does not derive
  parameters.format = 0;         // one picture per view
}

void set_blocks(const Request& request, x265_param& parameters) {
  // A block must not be larger than the picture.
  const auto shorter_side = std::min(request.width, request.height);
  while (parameters.maxCUSize > shorter_side) parameters.maxCUSize /= 2;
  parameters.minCUSize = std::min(parameters.minCUSize, parameters.maxCUSize);
  parameters.maxTUSize = std::min(parameters.maxTUSize, parameters.maxCUSize);
  parameters.rc.qgSize = std::min(parameters.rc.qgSize, parameters.maxCUSize);
  // x265's assembly for it writes rows of at least four blocks of 16 pixels.
  constexpr std::uint32_t least_columns_for_cu_tree = 128;
  if (request.width < least_columns_for_cu_tree) parameters.rc.cuTree = 0;
  // x265 then says that it does without wavefronts, which is nobody's concern.
  const auto block = static_cast<std::uint32_t>(parameters.maxCUSize);
  if (request.height <= block || request.width <= 2 * block) parameters.logLevel = X265_LOG_ERROR;
  constexpr std::uint32_t least_rows_for_slices = 720;
  if (request.height < least_rows_for_slices) parameters.lookaheadSlices = 0;
}

void set_stream(x265_param& parameters) {
  parameters.bAnnexB = 1;
  parameters.bRepeatHeaders = 0;
  parameters.bEnableAccessUnitDelimiters = 0;
  parameters.bEmitInfoSEI = 0;
  parameters.bHighTier = 0;
  // With it decoders meet QP differences out of range.
  parameters.bOptQpPPS = 0;
}

void set_groups(const Request& request, x265_param& parameters) {
  parameters.bOpenGOP = 0;
  // The right view's intra pictures inside a group refer to pictures that decoders no longer have.
  parameters.scenecutThreshold = 0;
  parameters.bHistBasedSceneCut = 0;
  constexpr auto infinite = static_cast<std::uint32_t>(std::numeric_limits<int>::max());
  const std::uint32_t distance = is_forced_key(request) ? infinite : std::min(request.key_distance, infinite);
  parameters.keyframeMax = static_cast<int>(distance);
  parameters.keyframeMin = parameters.keyframeMax;
  if (request.b_frames != Request::own_b_frames) parameters.bframes = static_cast<int>(request.b_frames);
  if (is_forced_key(request)) parameters.bframes = 0;
}

void set_colors(const Request& request, x265_param& parameters) {
  auto& vui = parameters.vui;
  constexpr int unspecified_format = 5;
  vui.bEnableVideoSignalTypePresentFlag = 1;
  vui.videoFormat = unspecified_format;
  vui.bEnableVideoFullRangeFlag = static_cast<int>(request.full_range);
  vui.bEnableColorDescriptionPresentFlag = 1;
  vui.colorPrimaries = static_cast<int>(request.primaries);
  vui.transferCharacteristics = static_cast<int>(request.transfer);
  vui.matrixCoeffs = static_cast<int>(request.matrix);
  vui.bEnableChromaLocInfoPresentFlag = 1;
  vui.chromaSampleLocTypeTopField = 0;  // left
  vui.chromaSampleLocTypeBottomField = 0;
}

// In thousands of bits per second, as x265 counts.
[[nodiscard]] bool set_rate(const Request& request, x265_param& parameters, std::string& error) {
  constexpr std::uint64_t unit = 1000;
  if (request.bits_per_second < unit) {
    return fail(error, "a bit rate of " + std::to_string(request.bits_per_second) +
                           " is too low, x265 takes " + std::to_string(unit) + " and more");
  }
  parameters.rc.rateControlMode = X265_RC_ABR;
  // Of both views, with our change to x265's rate control.
  parameters.rc.bitrate = static_cast<int>((request.bits_per_second + unit / 2) / unit);
  return true;
}

}  // namespace

bool configure(const Request& request, const x265_api& api, x265_param& parameters, std::string& error) {
  if (!set_preset(request.preset, api, parameters, error)) return false;
  parameters.logLevel = X265_LOG_WARNING;
  parameters.frameNumThreads = frame_threads(std::thread::hardware_concurrency());
  set_pictures(request, parameters);
  set_blocks(request, parameters);
  set_stream(parameters);
  set_groups(request, parameters);
  set_colors(request, parameters);
  if (!set_rate(request, parameters, error)) return false;
  return api.param_apply_profile(&parameters, request.bit_depth == 10 ? "main10" : "main") == 0 ||
         fail(error, "could not set x265's profile");
}

}  // namespace veyrin::two_view
