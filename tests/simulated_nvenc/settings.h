// Capabilities and faults of the simulated driver, read from the environment when a session is opened.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace veyrin::simulated_nvenc {

/// Where the parameter sets of view 1 are: the sequence header, nowhere, before the key pictures of view 1,
/// or in both places.
enum class LayerSets { header, missing, in_band, both };

/// Which pictures of view 1 are called IDR pictures: none, those of key pictures, all.
enum class SecondViewKeys { none, key_pictures, all };

/// Where the message about reference displays stands: before each view, before the first picture only, in the
/// layer of view 1 only.
enum class DisplayMessages { every_view, once, second_layer };

/// The order of coded views: view after view of each picture, view 1 first, or all pictures of view 0 in a
/// group of B-frames before those of view 1.
enum class ViewOutput { pairs, swapped, by_view };

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
  LayerSets layer_sets = LayerSets::header;
  SecondViewKeys second_view_keys = SecondViewKeys::none;
  DisplayMessages display_messages = DisplayMessages::every_view;
  ViewOutput view_output = ViewOutput::pairs;
  bool groups_per_view = false;  ///< each view counts in the length of a group of pictures
  std::string log_file;
};

/// Each session reads them again, so that a test can change them in between.
Settings settings_from_environment();

/// Appends a line to the log file, if there is one.
void log_line(const Settings& settings, const std::string& line);

}  // namespace veyrin::simulated_nvenc
