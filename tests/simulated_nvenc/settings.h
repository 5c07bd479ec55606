// What the simulated driver can do and how it fails, as the environment says when a session is opened.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace veyrin::simulated_nvenc {

/// One GPU with its faults; the variables are described in README.md.
struct Settings {
  bool h264 = true;
  bool hevc = true;
  bool mv_hevc = true;
  bool ten_bit = true;
  bool mv_hevc_ten_bit = true;
  int width_max = 8192;
  int height_max = 8192;
  int b_frames = 2;                        ///< of the HEVC presets
  std::optional<int> open_session_status;  ///< what opening a session answers
  std::optional<std::int64_t> failing_picture;
  bool odd_views = false;             ///< the stream's last view never becomes ready
  std::int64_t view_time_offset = 0;  ///< added to the time stamp of every view 1
  std::string log_file;
};

/// Read anew by every session, so that a test may change them in between.
Settings settings_from_environment();

/// Appends one line to the log file, when there is one.
void log_line(const Settings& settings, const std::string& line);

}  // namespace veyrin::simulated_nvenc
