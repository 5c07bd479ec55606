// Capabilities and faults of the simulated driver, read from the environment when a session is opened.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace veyrin::simulated_nvenc {

/// A GPU and its faults; README.md describes the variables.
struct Settings {
  bool h264 = true;
  bool hevc = true;
  bool mv_hevc = true;
  bool ten_bit = true;
  bool mv_hevc_ten_bit = true;
  int width_max = 8192;
  int height_max = 8192;
  int b_frames = 2;                        ///< of the HEVC presets
  std::optional<int> open_session_status;  ///< status of opening a session
  std::optional<std::int64_t> failing_picture;
  bool odd_views = false;             ///< the last view of the stream is never delivered
  std::int64_t view_time_offset = 0;  ///< added to the time stamps of view 1
  std::string log_file;
};

/// Each session reads them again, so that a test can change them in between.
Settings settings_from_environment();

/// Appends a line to the log file, if there is one.
void log_line(const Settings& settings, const std::string& line);

}  // namespace veyrin::simulated_nvenc
