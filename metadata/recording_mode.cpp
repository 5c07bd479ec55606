#include "metadata/recording_mode.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace veyrin {
namespace {

constexpr std::array<std::pair<std::string_view, RecordingMode>, 6> mode_names{{
    {"raw", RecordingMode::raw_dual_track},
    {"raw-dual", RecordingMode::raw_dual_track},
    {"raw-dual-track", RecordingMode::raw_dual_track},
    {"dual-track", RecordingMode::raw_dual_track},
    {"undistorted", RecordingMode::undistorted},
    {"sbs", RecordingMode::sbs},
}};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view white_space = " \t\n\v\f\r";
  const std::size_t first = text.find_first_not_of(white_space);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(white_space) - first + 1);
}

char to_lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

}  // namespace

std::optional<RecordingMode> parse_recording_mode(const nlohmann::json& document) {
  const auto entry = document.find("recordingMode");
  if (entry == document.end()) return std::nullopt;
  std::string text = entry->get<std::string>();
  constexpr std::string_view suffix = "-v1";
  if (text.size() > suffix.size() && text.ends_with(suffix)) text.resize(text.size() - suffix.size());
  std::string name(trimmed(text));
  std::ranges::transform(name, name.begin(), to_lower);

  const auto found = std::ranges::find(mode_names, name, &decltype(mode_names)::value_type::first);
  if (found == mode_names.end()) throw std::runtime_error("unrecognized timed metadata recording mode");
  return found->second;
}

}  // namespace veyrin
