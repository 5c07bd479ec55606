#include "spatial/two_view_request.h"

#include <cstdint>
#include <string_view>

#include "common/error_text.h"
#include "common/platform/program.h"
#include "media/video_types.h"

namespace veyrin {
namespace {

two_view::Request request_for(const SpatialWriterConfig& config) {
  two_view::Request request;
  request.width = static_cast<std::uint32_t>(config.eye.width);
  request.height = static_cast<std::uint32_t>(config.eye.height);
  request.bit_depth = static_cast<std::uint32_t>(config.depth);
  request.rate_numerator = static_cast<std::uint32_t>(config.frame_rate.num);
  request.rate_denominator = static_cast<std::uint32_t>(config.frame_rate.den);
  request.primaries = static_cast<std::uint32_t>(config.colors.primaries);
  request.transfer = static_cast<std::uint32_t>(config.colors.transfer);
  request.matrix = static_cast<std::uint32_t>(config.colors.matrix);
  request.full_range = config.colors.range == AVCOL_RANGE_JPEG ? 1 : 0;
  request.key_distance = static_cast<std::uint32_t>(group_of_pictures(config.frame_rate));
  request.bits_per_second = static_cast<std::uint64_t>(config.bit_rate);
  return request;
}

[[nodiscard]] bool take_switches(two_view::Request& request, std::string& error) {
  request.preset = platform::environment_value("VEYRIN_TWO_VIEW_PRESET").value_or("");
  const std::string b_frames = platform::environment_value("VEYRIN_TWO_VIEW_B_FRAMES").value_or("");
  if (b_frames.empty()) return true;
  if (b_frames.size() != 1 || b_frames[0] < '0' || b_frames[0] > '8')
    return fail(error, "VEYRIN_TWO_VIEW_B_FRAMES is not a number from 0 to 8");
  request.b_frames = static_cast<std::uint32_t>(b_frames[0] - '0');
  return true;
}

}  // namespace

std::optional<two_view::Request> two_view_request(const SpatialWriterConfig& config, std::string& error) {
  two_view::Request request = request_for(config);
  if (!take_switches(request, error)) return std::nullopt;
  const std::string_view mistake = two_view::find_mistake(request);
  if (!mistake.empty()) {
    error = "the two-view encoder does not take " + std::string(mistake);
    return std::nullopt;
  }
  return request;
}

}  // namespace veyrin
