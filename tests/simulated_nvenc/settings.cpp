#include "tests/simulated_nvenc/settings.h"

#include <fstream>

#include "common/platform/files.h"
#include "common/platform/program.h"

namespace veyrin::simulated_nvenc {
namespace {

std::optional<std::string> variable(const std::string& name) {
  auto value = platform::environment_value(("VEYRIN_SIMULATED_NVENC_" + name).c_str());
  if (value && value->empty()) return std::nullopt;
  return value;
}

std::optional<int> number(const std::string& name) {
  const auto text = variable(name);
  if (!text) return std::nullopt;
  return std::stoi(*text);
}

bool flag(const std::string& name, bool otherwise) {
  return number(name).value_or(otherwise ? 1 : 0) != 0;
}

}  // namespace

Settings settings_from_environment() {
  Settings settings;
  settings.h264 = flag("H264", settings.h264);
  settings.hevc = flag("HEVC", settings.hevc);
  settings.mv_hevc = flag("MV_HEVC", settings.mv_hevc);
  settings.ten_bit = flag("TEN_BIT", settings.ten_bit);
  settings.mv_hevc_ten_bit = flag("MV_HEVC_TEN_BIT", settings.mv_hevc_ten_bit);
  settings.width_max = number("WIDTH_MAX").value_or(settings.width_max);
  settings.height_max = number("HEIGHT_MAX").value_or(settings.height_max);
  settings.b_frames = number("B_FRAMES").value_or(settings.b_frames);
  settings.open_session_status = number("OPEN_SESSION_STATUS");
  settings.failing_picture = number("FAILING_PICTURE");
  settings.odd_views = flag("ODD_VIEWS", settings.odd_views);
  settings.view_time_offset = number("VIEW_TIME_OFFSET").value_or(0);
  settings.log_file = variable("LOG").value_or("");
  // Only without B-frames is the last picture certain to be alone in its group.
  if (settings.odd_views) settings.b_frames = 0;
  return settings;
}

void log_line(const Settings& settings, const std::string& line) {
  if (settings.log_file.empty()) return;
  std::ofstream(platform::path_from_utf8(settings.log_file), std::ios::app) << line << '\n';
}

}  // namespace veyrin::simulated_nvenc
