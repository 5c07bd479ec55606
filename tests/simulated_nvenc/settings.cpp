#include "tests/simulated_nvenc/settings.h"

#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <utility>

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

/// One of the words; the first one unless the variable is set.
template <typename Choice>
Choice choice(const std::string& name, std::initializer_list<std::pair<const char*, Choice>> words) {
  const auto text = variable(name);
  if (!text) return words.begin()->second;
  for (const auto& [word, meaning] : words) {
    if (*text == word) return meaning;
  }
  throw std::invalid_argument("no value of " + name + ": " + *text);
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
  settings.layer_sets = choice<LayerSets>("LAYER_1_SETS", {{"header", LayerSets::header},
                                                           {"missing", LayerSets::missing},
                                                           {"in-band", LayerSets::in_band},
                                                           {"both", LayerSets::both}});
  settings.second_view_keys =
      choice<SecondViewKeys>("VIEW_1_KEYS", {{"none", SecondViewKeys::none},
                                             {"key-pictures", SecondViewKeys::key_pictures},
                                             {"all", SecondViewKeys::all}});
  settings.display_messages =
      choice<DisplayMessages>("DISPLAY_MESSAGES", {{"every-view", DisplayMessages::every_view},
                                                   {"once", DisplayMessages::once},
                                                   {"layer-1", DisplayMessages::second_layer}});
  settings.view_output = choice<ViewOutput>(
      "VIEW_OUTPUT",
      {{"pairs", ViewOutput::pairs}, {"swapped", ViewOutput::swapped}, {"by-view", ViewOutput::by_view}});
  settings.groups_per_view = flag("GROUPS_PER_VIEW", settings.groups_per_view);
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
